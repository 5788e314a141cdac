// The image readers on real files written by Qt: plain interleaved values
// (readImage2) and QImages of three formats only (readQImage), whatever the
// file held: palettes, premultiplied alpha, 16-bit grey, padded rows.
#include "host/images/ImageReaders.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/TempDir.h"

namespace {

// What both readers handed back for one file; readImage2's buffer is released
// with free, as the package does.
struct Read {
  explicit Read(const std::string& path) {
    ok = readImage2(path.c_str(), size, pixels, 0);
    imageOk = readQImage(path.c_str(), &image, 0);
  }
  ~Read() { std::free(pixels.data); }
  int value(int x, int y, int c) const {
    const size_t i = (static_cast<size_t>(y) * size[0] + x) * size[2] + c;
    if (pixels.primType == TbPrimType::UINT16) return static_cast<const uint16_t*>(pixels.data)[i];
    return static_cast<const uint8_t*>(pixels.data)[i];
  }

  int ok = 0, imageOk = 0;
  int size[3] = {-1, -1, -1};
  TbTypedPointer pixels{nullptr, TbPrimType::DOUBLE};
  QImage image;
};

// The straight colour component c of a written pixel; for 16-bit grey the value itself.
int written(const QImage& source, int x, int y, int c) {
  if (source.format() == QImage::Format_Grayscale16) return reinterpret_cast<const quint16*>(source.constScanLine(y))[x];
  const QRgb p = source.pixel(x, y);
  const int parts[] = {qRed(p), qGreen(p), qBlue(p), qAlpha(p)};
  return parts[c];
}

// Five columns: an 8-bit grey scan line is padded to eight bytes.
QImage grey() {
  QImage image(5, 3, QImage::Format_Grayscale8);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) image.scanLine(y)[x] = static_cast<uchar>(10 + 40 * x + 7 * y);
  return image;
}

QImage rgb() {
  QImage image(5, 3, QImage::Format_RGB32);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) image.setPixel(x, y, qRgb(50 * x, 100 * y, 200 - 20 * x));
  return image;
}

// Colours that survive being stored premultiplied with alpha 51 (one fifth);
// alpha 128 would not, so the TIFF has another colour there.
QImage rgba(bool forTiff) {
  const QRgb colours[8] = {qRgba(255, 0, 100, 255), qRgba(100, 50, 255, 51), qRgba(10, 20, 30, 255), qRgba(0, 0, 0, 0),
                           qRgba(5, 250, 125, 51),  qRgba(1, 2, 3, 128),     qRgba(200, 100, 0, 255), qRgba(255, 255, 255, 51)};
  QImage image(4, 2, QImage::Format_ARGB32);
  for (int i = 0; i < 8; ++i) image.setPixel(i % 4, i / 4, colours[i]);
  if (forTiff) image.setPixel(1, 1, qRgba(20, 40, 60, 255));
  return image;
}

QImage deepGrey() {
  const uint16_t stored[2][5] = {{0, 1, 257, 1000, 40000}, {65535, 12345, 256, 32768, 7}};
  QImage image(5, 2, QImage::Format_Grayscale16);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 5; ++x) reinterpret_cast<quint16*>(image.scanLine(y))[x] = stored[y][x];
  return image;
}

// Index i shows grey 250 - 60 i, so an index read as a value is caught; or
// colours, when one entry is not grey.
QImage palette(bool colour) {
  QImage image(5, 3, QImage::Format_Indexed8);
  image.setColorTable({qRgb(250, 250, 250), colour ? qRgb(200, 10, 40) : qRgb(190, 190, 190), qRgb(130, 130, 130),
                       qRgb(70, 70, 70)});
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) image.setPixel(x, y, (x + y) % 4);
  return image;
}

TEST(ImageReaders, LosslessFilesGiveTheirValuesAndOneOfThreeFormats) {
  TempDir dir;
  const struct {
    const char* file;
    QImage source;
    int channels;
    TbPrimType type;
    QImage::Format loaded;  // as Qt alone loads the file
    QImage::Format format;  // as readQImage hands it back
  } cases[] = {{"grey.png", grey(), 1, TbPrimType::UINT8, QImage::Format_Grayscale8, QImage::Format_Grayscale8},
               {"rgb.png", rgb(), 3, TbPrimType::UINT8, QImage::Format_RGB32, QImage::Format_RGB32},
               {"rgba.png", rgba(false), 4, TbPrimType::UINT8, QImage::Format_ARGB32, QImage::Format_ARGB32},
               {"rgba.tif", rgba(true), 4, TbPrimType::UINT8, QImage::Format_ARGB32_Premultiplied, QImage::Format_ARGB32},
               {"deep.png", deepGrey(), 1, TbPrimType::UINT16, QImage::Format_Grayscale16, QImage::Format_Grayscale8},
               {"palette.bmp", palette(false), 1, TbPrimType::UINT8, QImage::Format_Indexed8, QImage::Format_Grayscale8},
               {"colours.bmp", palette(true), 3, TbPrimType::UINT8, QImage::Format_Indexed8, QImage::Format_RGB32}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const std::string path = dir.file(c.file);
    ASSERT_TRUE(c.source.save(QString::fromStdString(path)));
    ASSERT_EQ(QImage(QString::fromStdString(path)).format(), c.loaded) << "the case exists to read this format";
    const Read read(path);
    ASSERT_TRUE(read.ok && read.imageOk);
    EXPECT_EQ((std::vector<int>{read.size[0], read.size[1], read.size[2]}),
              (std::vector<int>{c.source.width(), c.source.height(), c.channels}));
    ASSERT_EQ(read.pixels.primType, c.type);
    ASSERT_EQ(read.image.format(), c.format);
    for (int y = 0; y < c.source.height(); ++y)
      for (int x = 0; x < c.source.width(); ++x) {
        for (int ch = 0; ch < c.channels; ++ch) EXPECT_EQ(read.value(x, y, ch), written(c.source, x, y, ch)) << x << "," << y;
        const int byte = static_cast<int>(std::lround(written(c.source, x, y, 0) / 257.0));  // 16-bit values become bytes
        const QRgb want = c.type == TbPrimType::UINT16 ? qRgb(byte, byte, byte) : c.source.pixel(x, y);
        EXPECT_EQ(read.image.pixel(x, y), want) << x << "," << y;
        if (c.format == QImage::Format_Grayscale8) {
          EXPECT_EQ(read.image.constScanLine(y)[x], qRed(want));
        }
      }
  }
}

TEST(ImageReaders, MissingOrUndecodableFilesFailAndLeaveTheOutputsAlone) {
  TempDir dir;
  writeWholeFile(dir.file("notes.png"), "these are words, not pixels\n");
  for (const std::string& path : {dir.file("notes.png"), dir.file("absent.png"), dir.path(), std::string()}) {
    SCOPED_TRACE(path);
    const Read read(path);
    EXPECT_EQ(read.ok + read.imageOk, 0);
    EXPECT_EQ(read.pixels.data, nullptr);
    EXPECT_EQ(read.pixels.primType, TbPrimType::DOUBLE);
    EXPECT_EQ(read.size[0], -1);
    QImage image(2, 2, QImage::Format_RGB32);
    EXPECT_EQ(readQImage(path.c_str(), &image, 0), 0);
    EXPECT_EQ(image.size(), QSize(2, 2));
  }
  int size[3] = {-1, -1, -1};
  TbTypedPointer pixels(nullptr, TbPrimType::UINT8);
  EXPECT_EQ(readImage2(nullptr, size, pixels, 0), 0);
  ASSERT_TRUE(grey().save(QString::fromStdString(dir.file("fine.png"))));
  EXPECT_EQ(readQImage(dir.file("fine.png").c_str(), nullptr, 0), 0);
}

}  // namespace
