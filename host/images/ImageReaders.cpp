#include "host/images/ImageReaders.h"

#include "host/images/ImagePrefetch.h"

#include <QImage>
#include <QImageReader>
#include <QString>

#include <cstdlib>
#include <cstring>

namespace {

QImage loadImage(const char* filename, int page) {
  QImage image;
  if (!filename || !*filename || page < 0) return image;
  // File names are bytes on this system; the local 8-bit codec keeps them so.
  QImageReader reader(QString::fromLocal8Bit(filename));
  if (page == 0 || reader.jumpToImage(page)) reader.read(&image);
  return image;
}

// The one of Grayscale8, RGB32 and ARGB32 that keeps everything the caller can use.
QImage::Format plainFormat(const QImage& image) {
  switch (image.format()) {
    case QImage::Format_Grayscale8:
    case QImage::Format_Grayscale16:
      return QImage::Format_Grayscale8;
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
      return image.format();
    default:
      break;
  }
  if (image.hasAlphaChannel()) return QImage::Format_ARGB32;
  // A palette's scan lines hold indices, not values: only its colours tell grey.
  if (image.colorCount() > 0 && image.allGray()) return QImage::Format_Grayscale8;
  return QImage::Format_RGB32;
}

QImage plainImage(const QImage& image) {
  const QImage::Format format = plainFormat(image);
  return image.format() == format ? image : image.convertToFormat(format);
}

int channelsOf(const QImage& plain) {
  switch (plain.format()) {
    case QImage::Format_Grayscale8: return 1;
    case QImage::Format_ARGB32: return 4;
    default: return 3;
  }
}

// Scan lines are padded to 4 bytes; the caller's buffer is not.
void* copyRows(const QImage& image, size_t rowBytes) {
  auto* buffer = static_cast<unsigned char*>(std::malloc(rowBytes * image.height()));
  if (!buffer) return nullptr;
  for (int y = 0; y < image.height(); ++y)
    std::memcpy(buffer + rowBytes * y, image.constScanLine(y), rowBytes);
  return buffer;
}

void* copyColour(const QImage& plain, int channels) {
  const size_t rowBytes = static_cast<size_t>(plain.width()) * channels;
  auto* buffer = static_cast<unsigned char*>(std::malloc(rowBytes * plain.height()));
  if (!buffer) return nullptr;
  unsigned char* out = buffer;
  for (int y = 0; y < plain.height(); ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(plain.constScanLine(y));
    for (int x = 0; x < plain.width(); ++x) {
      *out++ = static_cast<unsigned char>(qRed(row[x]));
      *out++ = static_cast<unsigned char>(qGreen(row[x]));
      *out++ = static_cast<unsigned char>(qBlue(row[x]));
      if (channels == 4) *out++ = static_cast<unsigned char>(qAlpha(row[x]));
    }
  }
  return buffer;
}

void* copyValues(const QImage& image, int& channels, TbPrimType& type) {
  if (image.format() == QImage::Format_Grayscale16) {
    channels = 1;
    type = TbPrimType::UINT16;
    return copyRows(image, static_cast<size_t>(image.width()) * sizeof(quint16));
  }
  const QImage plain = plainImage(image);
  if (plain.isNull()) return nullptr;  // the conversion found no memory
  channels = channelsOf(plain);
  type = TbPrimType::UINT8;
  if (channels == 1) return copyRows(plain, static_cast<size_t>(plain.width()));
  return copyColour(plain, channels);
}

}  // namespace

int imagePageCount(const char* filename) {
  if (!filename || !*filename) return 0;
  QImageReader reader(QString::fromLocal8Bit(filename));
  if (!reader.canRead()) return 0;
  const int count = reader.imageCount();
  return count > 0 ? count : 1;
}

int readImage2(const char* filename, int size[3], TbTypedPointer& pixels, int flags) {
  return readImage2Page(filename, 0, size, pixels, flags);
}

int readQImage(const char* filename, QImage* image, int flags) {
  bool decoded = false;
  if (image && ImagePrefetch::take(filename, image, decoded)) return decoded ? 1 : 0;
  return readQImagePage(filename, 0, image, flags);
}

int readImage2Page(const char* filename, int page, int size[3], TbTypedPointer& pixels, int /*flags*/) {
  const QImage image = loadImage(filename, page);
  if (image.isNull() || !size) return 0;
  int channels = 0;
  TbPrimType type;
  void* values = copyValues(image, channels, type);
  if (!values) return 0;
  size[0] = image.width();
  size[1] = image.height();
  size[2] = channels;
  pixels.data = values;
  pixels.primType = type;
  return 1;
}

int readQImagePage(const char* filename, int page, QImage* image, int /*flags*/) {
  if (!image) return 0;
  const QImage loaded = loadImage(filename, page);
  if (loaded.isNull()) return 0;
  QImage plain = plainImage(loaded);
  if (plain.isNull()) return 0;  // the conversion found no memory
  *image = std::move(plain);
  return 1;
}
