#include "host/images/ImageReaders.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/TempDir.h"

namespace {

// What readImage2 handed back for one file; the buffer is released with free,
// as the package does.
class Values {
 public:
  explicit Values(const std::string& path) { ok = readImage2(path.c_str(), size, pixels, 0); }
  ~Values() { std::free(pixels.data); }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  int value(int x, int y, int c) const {
    const size_t i = (static_cast<size_t>(y) * size[0] + x) * size[2] + c;
    if (pixels.primType == TbPrimType::UINT16) return static_cast<const uint16_t*>(pixels.data)[i];
    return static_cast<const uint8_t*>(pixels.data)[i];
  }

  int ok = 0;
  int size[3] = {-1, -1, -1};
  TbTypedPointer pixels{nullptr, TbPrimType::DOUBLE};
};

QImage loadedQImage(const std::string& path, int* ok) {
  QImage image;
  *ok = readQImage(path.c_str(), &image, 0);
  return image;
}

// Five columns: an 8-bit grey scan line is padded to eight bytes.
QImage greyImage() {
  QImage image(5, 3, QImage::Format_Grayscale8);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) image.scanLine(y)[x] = static_cast<uchar>(10 + 40 * x + 7 * y);
  return image;
}

QRgb rgbAt(int x, int y) { return qRgb(50 * x, 100 * y, 200 - 20 * x); }

QImage rgbImage() {
  QImage image(5, 3, QImage::Format_RGB32);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) image.setPixel(x, y, rgbAt(x, y));
  return image;
}

// Colour values that survive being stored premultiplied with alpha 51 (one fifth).
const QRgb kStraightRgba[2][4] = {
    {qRgba(255, 0, 100, 255), qRgba(100, 50, 255, 51), qRgba(10, 20, 30, 255), qRgba(0, 0, 0, 0)},
    {qRgba(5, 250, 125, 51), qRgba(1, 2, 3, 128), qRgba(200, 100, 0, 255), qRgba(255, 255, 255, 51)}};

QImage rgbaImage(bool premultipliable) {
  QImage image(4, 2, QImage::Format_ARGB32);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 4; ++x) image.setPixel(x, y, kStraightRgba[y][x]);
  if (premultipliable) image.setPixel(1, 1, qRgba(20, 40, 60, 255));  // alpha 128 would not round-trip
  return image;
}

class ImageReadersTest : public ::testing::Test {
 protected:
  std::string saved(const QImage& image, const std::string& name, int quality = -1) {
    const std::string path = dir.file(name);
    EXPECT_TRUE(image.save(QString::fromStdString(path), nullptr, quality)) << name;
    return path;
  }
  void expectRgbValues(const Values& values, const QImage& image, bool alpha) {
    for (int y = 0; y < image.height(); ++y)
      for (int x = 0; x < image.width(); ++x) {
        const QRgb want = image.pixel(x, y);
        EXPECT_EQ(values.value(x, y, 0), qRed(want)) << x << "," << y;
        EXPECT_EQ(values.value(x, y, 1), qGreen(want)) << x << "," << y;
        EXPECT_EQ(values.value(x, y, 2), qBlue(want)) << x << "," << y;
        if (alpha) {
          EXPECT_EQ(values.value(x, y, 3), qAlpha(want)) << x << "," << y;
        }
      }
  }
  TempDir dir;
};

TEST_F(ImageReadersTest, GreyImagesGiveOneChannelOfBytesWithoutRowPadding) {
  const QImage grey = greyImage();
  for (const char* name : {"grey.png", "grey.tif"}) {
    SCOPED_TRACE(name);
    const std::string path = saved(grey, name);
    Values values(path);
    ASSERT_TRUE(values.ok);
    EXPECT_EQ(values.size[0], 5);
    EXPECT_EQ(values.size[1], 3);
    EXPECT_EQ(values.size[2], 1);
    EXPECT_EQ(values.pixels.primType, TbPrimType::UINT8);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 5; ++x) EXPECT_EQ(values.value(x, y, 0), 10 + 40 * x + 7 * y);

    int ok = 0;
    const QImage image = loadedQImage(path, &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(image.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(image.constScanLine(2)[4], 10 + 160 + 14);
    EXPECT_EQ(image.pixel(3, 1), qRgb(137, 137, 137));
  }
}

TEST_F(ImageReadersTest, LosslessColourImagesGiveThreeInterleavedChannelsExactly) {
  const QImage rgb = rgbImage();
  for (const char* name : {"rgb.png", "rgb.bmp", "rgb.tif"}) {
    SCOPED_TRACE(name);
    const std::string path = saved(rgb, name);
    Values values(path);
    ASSERT_TRUE(values.ok);
    EXPECT_EQ(values.size[0], 5);
    EXPECT_EQ(values.size[1], 3);
    EXPECT_EQ(values.size[2], 3);
    EXPECT_EQ(values.pixels.primType, TbPrimType::UINT8);
    expectRgbValues(values, rgb, false);

    int ok = 0;
    const QImage image = loadedQImage(path, &ok);
    ASSERT_TRUE(ok);
    EXPECT_EQ(image.format(), QImage::Format_RGB32);
    EXPECT_EQ(image.pixel(4, 2), rgbAt(4, 2));
  }
}

TEST_F(ImageReadersTest, JpegColoursComeBackWithinTheCompressionError) {
  // Two flat halves, each a whole number of 16-pixel blocks, keep the error small.
  QImage halves(32, 16, QImage::Format_RGB32);
  halves.fill(qRgb(200, 100, 30));
  for (int y = 0; y < 16; ++y)
    for (int x = 16; x < 32; ++x) halves.setPixel(x, y, qRgb(20, 60, 220));
  const std::string path = saved(halves, "halves.jpg", 95);
  Values values(path);
  ASSERT_TRUE(values.ok);
  EXPECT_EQ(values.size[2], 3);
  const int tolerance = 6;
  for (int y : {0, 7, 15}) {
    EXPECT_NEAR(values.value(3, y, 0), 200, tolerance);
    EXPECT_NEAR(values.value(3, y, 1), 100, tolerance);
    EXPECT_NEAR(values.value(3, y, 2), 30, tolerance);
    EXPECT_NEAR(values.value(28, y, 0), 20, tolerance);
    EXPECT_NEAR(values.value(28, y, 1), 60, tolerance);
    EXPECT_NEAR(values.value(28, y, 2), 220, tolerance);
  }
  int ok = 0;
  const QImage image = loadedQImage(path, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(image.format(), QImage::Format_RGB32);
  EXPECT_NEAR(qBlue(image.pixel(28, 8)), 220, tolerance);
  EXPECT_NEAR(qRed(image.pixel(3, 8)), 200, tolerance);
}

TEST_F(ImageReadersTest, AlphaMakesFourChannelsOfStraightColour) {
  const std::string png = saved(rgbaImage(false), "rgba.png");
  const std::string tif = saved(rgbaImage(true), "rgba.tif");
  ASSERT_EQ(QImage(QString::fromStdString(tif)).format(), QImage::Format_ARGB32_Premultiplied)
      << "the TIFF case exists to read premultiplied pixels";
  for (const std::string& path : {png, tif}) {
    SCOPED_TRACE(path);
    const QImage want = rgbaImage(path == tif);
    Values values(path);
    ASSERT_TRUE(values.ok);
    EXPECT_EQ(values.size[0], 4);
    EXPECT_EQ(values.size[1], 2);
    EXPECT_EQ(values.size[2], 4);
    expectRgbValues(values, want, true);

    int ok = 0;
    const QImage image = loadedQImage(path, &ok);
    ASSERT_TRUE(ok);
    EXPECT_EQ(image.format(), QImage::Format_ARGB32);
    EXPECT_EQ(image.pixel(1, 0), qRgba(100, 50, 255, 51)) << "premultiplied would be 20,10,51";
    EXPECT_EQ(image.pixel(0, 1), qRgba(5, 250, 125, 51));
  }
}

TEST_F(ImageReadersTest, SixteenBitGreyKeepsItsValuesOrBecomesRoundedBytes) {
  const uint16_t stored[2][5] = {{0, 1, 257, 1000, 40000}, {65535, 12345, 256, 32768, 7}};
  QImage deep(5, 2, QImage::Format_Grayscale16);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 5; ++x) reinterpret_cast<quint16*>(deep.scanLine(y))[x] = stored[y][x];
  const std::string path = saved(deep, "deep.png");

  Values values(path);
  ASSERT_TRUE(values.ok);
  EXPECT_EQ(values.size[2], 1);
  ASSERT_EQ(values.pixels.primType, TbPrimType::UINT16);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(values.value(x, y, 0), stored[y][x]) << x << "," << y;

  int ok = 0;
  const QImage image = loadedQImage(path, &ok);
  ASSERT_TRUE(ok);
  ASSERT_EQ(image.format(), QImage::Format_Grayscale8);
  const int bytes[2][5] = {{0, 0, 1, 4, 156}, {255, 48, 1, 128, 0}};  // value / 257, rounded
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(image.constScanLine(y)[x], bytes[y][x]) << x << "," << y;
}

TEST_F(ImageReadersTest, PaletteImagesGiveColoursNotIndices) {
  // Index i shows grey 250 - 60 i, so an index read as a value is caught.
  QImage palette(5, 3, QImage::Format_Indexed8);
  palette.setColorTable({qRgb(250, 250, 250), qRgb(190, 190, 190), qRgb(130, 130, 130),
                         qRgb(70, 70, 70)});
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) palette.setPixel(x, y, (x + y) % 4);
  const std::string greyPath = saved(palette, "palette.bmp");
  ASSERT_EQ(QImage(QString::fromStdString(greyPath)).format(), QImage::Format_Indexed8);

  Values grey(greyPath);
  ASSERT_TRUE(grey.ok);
  EXPECT_EQ(grey.size[2], 1);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(grey.value(x, y, 0), 250 - 60 * ((x + y) % 4));
  int ok = 0;
  const QImage greyLoaded = loadedQImage(greyPath, &ok);
  ASSERT_TRUE(ok);
  ASSERT_EQ(greyLoaded.format(), QImage::Format_Grayscale8);
  EXPECT_EQ(greyLoaded.constScanLine(2)[3], 250 - 60 * 1);

  palette.setColor(1, qRgb(200, 10, 40));
  const std::string colourPath = saved(palette, "colours.bmp");
  Values colour(colourPath);
  ASSERT_TRUE(colour.ok);
  EXPECT_EQ(colour.size[2], 3);
  EXPECT_EQ(colour.value(1, 0, 0), 200);
  EXPECT_EQ(colour.value(1, 0, 1), 10);
  EXPECT_EQ(colour.value(1, 0, 2), 40);
  EXPECT_EQ(colour.value(0, 0, 1), 250);
  const QImage colourImage = loadedQImage(colourPath, &ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(colourImage.format(), QImage::Format_RGB32);
  EXPECT_EQ(colourImage.pixel(0, 1), qRgb(200, 10, 40));
}

TEST_F(ImageReadersTest, MissingOrUndecodableFilesFailAndLeaveTheOutputsAlone) {
  writeWholeFile(dir.file("notes.png"), "these are words, not pixels\n");
  const QImage before(2, 2, QImage::Format_RGB32);
  for (const std::string& path : {dir.file("notes.png"), dir.file("absent.png"), dir.path(),
                                  std::string()}) {
    SCOPED_TRACE(path);
    Values values(path);
    EXPECT_EQ(values.ok, 0);
    EXPECT_EQ(values.pixels.data, nullptr);
    EXPECT_EQ(values.pixels.primType, TbPrimType::DOUBLE);
    EXPECT_EQ(values.size[0], -1);

    QImage image = before;
    EXPECT_EQ(readQImage(path.c_str(), &image, 0), 0);
    EXPECT_EQ(image.size(), before.size());
  }
  int size[3] = {-1, -1, -1};
  TbTypedPointer pixels(nullptr, TbPrimType::UINT8);
  EXPECT_EQ(readImage2(nullptr, size, pixels, 0), 0);
  EXPECT_EQ(readQImage(saved(greyImage(), "fine.png").c_str(), nullptr, 0), 0);
}

}  // namespace
