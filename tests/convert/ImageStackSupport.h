#pragma once
// Helpers for the image-stack tests: stacks of real image files written with
// Qt (one image per z slice), the volume a channel option must make of them,
// and the image reader called the way the driver calls it.
#include <QImage>
#include <QString>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "support/ReferenceVolume.h"

namespace image_test {

using Volume = ReferenceVolume<uint8_t>;

// base000.png, base001.png, ...; "JPEG" gives .jpg.
inline std::string sliceName(const std::string& base, int z, const char* format) {
  std::string ext = format == std::string("JPEG") ? "jpg" : format;
  for (char& c : ext) c = static_cast<char>(std::tolower(c));
  const std::string number = std::to_string(1000 + z).substr(1);
  return base + number + "." + ext;
}

// Slice z of a volume of 1 (grey), 3 (RGB) or 4 (RGBA) components as a QImage
// of Grayscale8, RGB32 or ARGB32.
inline QImage sliceImage(const Volume& volume, int z) {
  QImage image(volume.nx, volume.ny,
               volume.nc == 1 ? QImage::Format_Grayscale8
                              : volume.nc == 3 ? QImage::Format_RGB32 : QImage::Format_ARGB32);
  for (int y = 0; y < volume.ny; ++y)
    for (int x = 0; x < volume.nx; ++x) {
      if (volume.nc == 1)
        image.scanLine(y)[x] = volume.at(x, y, z);
      else
        reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgba(
            volume.at(x, y, z, 0), volume.at(x, y, z, 1), volume.at(x, y, z, 2), volume.nc == 4 ? volume.at(x, y, z, 3) : 255);
    }
  return image;
}

// One file per slice; the names in order, or none when a file could not be written.
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

// What a channel option makes of a volume of colours (3 or 4 components) or
// grey values (1): one component, or four for the colour field. The weighted
// average is taken in single precision, then truncated.
inline Volume afterOption(const Volume& in, int option) {
  Volume out(in.nx, in.ny, in.nz, option == 10 ? 4 : 1);
  for (size_t i = 0; i < in.values.size() / in.nc; ++i) {
    const uint8_t* p = &in.values[i * in.nc];
    uint8_t* q = &out.values[i * out.nc];
    const int r = p[0], g = in.nc > 1 ? p[1] : 0, b = in.nc > 1 ? p[2] : 0, a = in.nc == 4 ? p[3] : 1;
    const float weighted = (static_cast<float>(r) * 0.3f + static_cast<float>(g) * 0.59f) + static_cast<float>(b) * 0.11f;
    const int picked[] = {std::max(r, std::max(g, b)), static_cast<int>(weighted), r, g, b, a};
    const int field[] = {r, g, b, a};
    for (int c = 0; c < out.nc; ++c) q[c] = static_cast<uint8_t>(option == 10 ? field[c] : in.nc == 1 ? r : picked[option]);
  }
  return out;
}

// The slices [from, nz) of a volume set to 0: what was never stored.
inline Volume zeroFrom(Volume volume, int from) {
  std::fill(volume.values.begin() + static_cast<size_t>(from) * volume.nx * volume.ny * volume.nc, volume.values.end(), 0);
  return volume;
}

// Colour image files as Qt decodes them (for lossy formats).
inline Volume decodedStack(const std::vector<std::string>& names) {
  Volume v;
  for (int z = 0; z < static_cast<int>(names.size()); ++z) {
    const QImage image = QImage(QString::fromStdString(names[z])).convertToFormat(QImage::Format_RGB32);
    if (z == 0) v = Volume(image.width(), image.height(), static_cast<int>(names.size()), 3);
    for (int y = 0; y < v.ny; ++y)
      for (int x = 0; x < v.nx; ++x) {
        const QRgb p = reinterpret_cast<const QRgb*>(image.constScanLine(y))[x];
        const int channel[] = {qRed(p), qGreen(p), qBlue(p)};
        for (int c = 0; c < 3; ++c) v.at(x, y, z, c) = static_cast<uint8_t>(channel[c]);
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
