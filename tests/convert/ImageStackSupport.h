#pragma once
// Helpers for the image-stack tests: stacks of real image files written with
// Qt (one image per z slice), the volume a channel option must make of them,
// and the image reader called the way the driver calls it.
#include <QImage>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "support/ReferenceVolume.h"

namespace image_test {

using Volume = ReferenceVolume<uint8_t>;

// "PNG" -> ".png" and so on.
inline std::string extensionOf(const char* format) {
  std::string ext = std::string(".") + format;
  for (char& c : ext) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return ext == ".jpeg" ? ".jpg" : ext;
}

inline std::string sliceName(const std::string& base, int z, const char* format) {
  char number[16];
  std::snprintf(number, sizeof number, "%03d", z);
  return base + number + extensionOf(format);
}

// Slice z of a volume of 1 (grey), 3 (RGB) or 4 (RGBA) components as a QImage
// of Grayscale8, RGB32 or ARGB32.
inline QImage sliceImage(const Volume& volume, int z) {
  const QImage::Format format = volume.nc == 1   ? QImage::Format_Grayscale8
                                : volume.nc == 3 ? QImage::Format_RGB32
                                                 : QImage::Format_ARGB32;
  QImage image(volume.nx, volume.ny, format);
  for (int y = 0; y < volume.ny; ++y) {
    if (volume.nc == 1) {
      std::memcpy(image.scanLine(y), &volume.values[(static_cast<size_t>(z) * volume.ny + y) * volume.nx],
                  static_cast<size_t>(volume.nx));
      continue;
    }
    auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
    for (int x = 0; x < volume.nx; ++x)
      row[x] = qRgba(volume.at(x, y, z, 0), volume.at(x, y, z, 1), volume.at(x, y, z, 2),
                     volume.nc == 4 ? volume.at(x, y, z, 3) : 255);
  }
  return image;
}

// One file per slice, base000.ext, base001.ext, ...; the names in order, or
// none when a file could not be written.
inline std::vector<std::string> writeStack(const std::string& base, const Volume& volume, const char* format) {
  std::vector<std::string> names;
  for (int z = 0; z < volume.nz; ++z) {
    names.push_back(sliceName(base, z, format));
    if (!sliceImage(volume, z).save(QString::fromStdString(names.back()), format, 100)) return {};
  }
  return names;
}

// A volume of colours with structure in every channel, alpha included when
// components is 4 (never 0, so every colour survives a save).
inline Volume colourVolume(int nx, int ny, int nz, int components) {
  Volume v(nx, ny, nz, components);
  for (int z = 0; z < nz; ++z)
    for (int y = 0; y < ny; ++y)
      for (int x = 0; x < nx; ++x) {
        v.at(x, y, z, 0) = static_cast<uint8_t>((x * 29 + y * 7 + z * 13 + (x * y) % 11) % 256);
        v.at(x, y, z, 1) = static_cast<uint8_t>((x * 5 + y * 31 + z * 17 + 90) % 256);
        v.at(x, y, z, 2) = static_cast<uint8_t>((255 - x * 11 + y * 3 + z * 23) & 0xff);
        if (components == 4) v.at(x, y, z, 3) = static_cast<uint8_t>(1 + (x * 3 + y * 19 + z * 37) % 255);
      }
  return v;
}

// The weighted average as the converter computes it: in single precision,
// then truncated.
inline uint8_t weightedOf(int r, int g, int b) {
  const float value = (static_cast<float>(r) * 0.3f + static_cast<float>(g) * 0.59f) + static_cast<float>(b) * 0.11f;
  return static_cast<uint8_t>(static_cast<int>(value));
}

// What a channel option makes of a volume of colours (3 or 4 components) or
// grey values (1): one component, or four for the colour field.
inline Volume afterOption(const Volume& in, int option) {
  Volume out(in.nx, in.ny, in.nz, option == 10 ? 4 : 1);
  for (int z = 0; z < in.nz; ++z)
    for (int y = 0; y < in.ny; ++y)
      for (int x = 0; x < in.nx; ++x) {
        if (in.nc == 1) {
          out.at(x, y, z) = in.at(x, y, z);
          continue;
        }
        const int r = in.at(x, y, z, 0), g = in.at(x, y, z, 1), b = in.at(x, y, z, 2);
        const int a = in.nc == 4 ? in.at(x, y, z, 3) : 1;
        switch (option) {
          case 0: out.at(x, y, z) = static_cast<uint8_t>(r > g ? (r > b ? r : b) : (g > b ? g : b)); break;
          case 1: out.at(x, y, z) = weightedOf(r, g, b); break;
          case 2: out.at(x, y, z) = static_cast<uint8_t>(r); break;
          case 3: out.at(x, y, z) = static_cast<uint8_t>(g); break;
          case 4: out.at(x, y, z) = static_cast<uint8_t>(b); break;
          case 5: out.at(x, y, z) = static_cast<uint8_t>(a); break;
          case 10:
            out.at(x, y, z, 0) = static_cast<uint8_t>(r);
            out.at(x, y, z, 1) = static_cast<uint8_t>(g);
            out.at(x, y, z, 2) = static_cast<uint8_t>(b);
            out.at(x, y, z, 3) = static_cast<uint8_t>(a);
            break;
        }
      }
  return out;
}

// The slices [from, nz) of a volume set to 0: what was never stored.
inline Volume zeroFrom(Volume volume, int from) {
  for (size_t i = static_cast<size_t>(from) * volume.nx * volume.ny * volume.nc; i < volume.values.size(); ++i)
    volume.values[i] = 0;
  return volume;
}

// The image files as the reader itself decodes them (lossy formats), as a
// volume of 1 or 3 components.
inline Volume decodedStack(const std::vector<std::string>& names, int components) {
  Volume v;
  for (int z = 0; z < static_cast<int>(names.size()); ++z) {
    QImage image(QString::fromStdString(names[z]));
    if (image.isNull()) return {};
    if (z == 0) v = Volume(image.width(), image.height(), static_cast<int>(names.size()), components);
    const QImage plain = image.convertToFormat(components == 1 ? QImage::Format_Grayscale8 : QImage::Format_RGB32);
    for (int y = 0; y < v.ny; ++y)
      for (int x = 0; x < v.nx; ++x) {
        if (components == 1) {
          v.at(x, y, z) = plain.constScanLine(y)[x];
        } else {
          const QRgb p = reinterpret_cast<const QRgb*>(plain.constScanLine(y))[x];
          v.at(x, y, z, 0) = static_cast<uint8_t>(qRed(p));
          v.at(x, y, z, 1) = static_cast<uint8_t>(qGreen(p));
          v.at(x, y, z, 2) = static_cast<uint8_t>(qBlue(p));
        }
      }
  }
  return v;
}

// The description words the driver hands the image reader: -bbox b1 .. b6 -channel c FILE...
inline std::vector<std::string> imageWords(const std::vector<std::string>& box, int option,
                                           const std::vector<std::string>& files) {
  std::vector<std::string> words = {"-bbox"};
  words.insert(words.end(), box.begin(), box.end());
  words.push_back("-channel");
  words.push_back(std::to_string(option));
  words.insert(words.end(), files.begin(), files.end());
  return words;
}

// Calls the module's image reader as the driver does: the input list holds
// heap copies of `inputs`, freed here afterwards, and the words (if any) are
// handed over as they are.
inline int readImages(UxConvertToDiskData& module, const std::vector<std::string>& inputs, const std::string& outName,
                      std::vector<std::string> words = {}) {
  InputList list;
  for (const std::string& name : inputs) list.append(strdup(name.c_str()));
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(&word[0]);
  argv.push_back(nullptr);
  const int argc = static_cast<int>(words.size());
  const int result = module.readerImg2UxDiskData(list, outName.c_str(), argc, argc ? argv.data() : nullptr);
  for (int i = 0; i < list.size(); ++i) std::free(list[i]);
  return result;
}

}  // namespace image_test
