#include "convert/ImagePixels.h"

#include <cstring>

#include "convert/ChannelOption.h"
#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

inline unsigned char weighted(QRgb p) {
  const float value = (qRed(p) * 0.3f + qGreen(p) * 0.59f) + qBlue(p) * 0.11f;
  return static_cast<unsigned char>(static_cast<int>(value) & 0xff);
}

inline unsigned char maximum(QRgb p) {
  int m = qRed(p) > qGreen(p) ? qRed(p) : qGreen(p);
  return static_cast<unsigned char>(m > qBlue(p) ? m : qBlue(p));
}

// One byte per pixel, picked by `pick`; the loop inlines it.
template <class Pick>
void eachPixel(const QRgb* row, int width, unsigned char* out, Pick pick) {
  for (int x = 0; x < width; ++x) out[x] = pick(row[x]);
}

void colorField(const QRgb* row, int width, int channels, unsigned char* out) {
  for (int x = 0; x < width; ++x) {
    out[4 * x] = static_cast<unsigned char>(qRed(row[x]));
    out[4 * x + 1] = static_cast<unsigned char>(qGreen(row[x]));
    out[4 * x + 2] = static_cast<unsigned char>(qBlue(row[x]));
    out[4 * x + 3] = channels == 4 ? static_cast<unsigned char>(qAlpha(row[x])) : 1;
  }
}

}  // namespace

int componentsForOption(int option, int channels) {
  if (channels == 1) return option == CHANNEL_FIRST ? 1 : 0;
  if (channels <= 2) return 0;
  if (option <= CHANNEL_THIRD) return 1;
  if (option == CHANNEL_ALPHA && channels == 4) return 1;
  if (option == CHANNEL_COLORFIELD) return 4;
  return 0;
}

QImage prepareImage(const QImage& image, int channels) {
  if (channels == 1)
    return image.format() == QImage::Format_Grayscale8 ? image : image.convertToFormat(QImage::Format_Grayscale8);
  if (image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32) return image;
  return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
}

bool convertRow(const QImage& image, int y, int option, int channels, unsigned char* out) {
  const int width = image.width();
  if (channels == 1) {
    if (option != CHANNEL_FIRST) return false;
    std::memcpy(out, image.constScanLine(y), static_cast<size_t>(width));
    return true;
  }
  const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
  switch (option) {
    case CHANNEL_MAXIMUM: eachPixel(row, width, out, maximum); return true;
    case CHANNEL_WEIGHTED: eachPixel(row, width, out, weighted); return true;
    case CHANNEL_FIRST: eachPixel(row, width, out, [](QRgb p) { return static_cast<unsigned char>(qRed(p)); }); return true;
    case CHANNEL_SECOND: eachPixel(row, width, out, [](QRgb p) { return static_cast<unsigned char>(qGreen(p)); }); return true;
    case CHANNEL_THIRD: eachPixel(row, width, out, [](QRgb p) { return static_cast<unsigned char>(qBlue(p)); }); return true;
    case CHANNEL_ALPHA: eachPixel(row, width, out, [](QRgb p) { return static_cast<unsigned char>(qAlpha(p)); }); return true;
    case CHANNEL_COLORFIELD:
      if (channels != 3 && channels != 4) return false;
      colorField(row, width, channels, out);
      return true;
    default: return false;
  }
}
