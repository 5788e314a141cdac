// The tiled converter's seam: this host has none, and says so; a package's
// tests put their own in its place and get every argument through.
#include "host/UxBrixConverter.h"

#include <gtest/gtest.h>

#include <string>

#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

struct Call {
  int count = 0;
  std::string firstFile, output, compressor;
  float box[6] = {};
  int dims[3] = {};
  int primType = -1, convertMethod = -1, headerBytes = -1, tileSize = -1, borderSize = -1,
      samplingType = -1;
  bool littleEndian = false, doubleToFloat = false, isRaw = false;
};
Call lastCall;

int recordingConverter(const TbDArray<const char*>& files, const TbFilename& output,
                       const TbBox3f& box, const TbVec3i& dims, const TbPrimType& primType,
                       bool littleEndian, int convertMethod, int headerBytes, bool doubleToFloat,
                       bool isRaw, int tileSize, int borderSize, int samplingType,
                       const char* compressor) {
  Call& c = lastCall;
  ++c.count;
  c.firstFile = files.size() ? files[0] : "";
  c.output = output.getString();
  for (int i = 0; i < 6; ++i) c.box[i] = box[i];
  for (int i = 0; i < 3; ++i) c.dims[i] = dims[i];
  c.primType = primType;
  c.littleEndian = littleEndian;
  c.convertMethod = convertMethod;
  c.headerBytes = headerBytes;
  c.doubleToFloat = doubleToFloat;
  c.isRaw = isRaw;
  c.tileSize = tileSize;
  c.borderSize = borderSize;
  c.samplingType = samplingType;
  c.compressor = compressor ? compressor : "";
  return 1;
}

class BrixConverterTest : public ::testing::Test {
 protected:
  void TearDown() override { UxBrixConverter::setImplementation(nullptr); }
  int convert(const TbFilename& output) {
    TbDArray<const char*> files;
    files.append("/data/slab.raw");
    return UxBrixConverter::convertToLDA(files, output, TbBox3f(0, 2, 0, 4, 0, 8),
                                         TbVec3i(64, 128, 256), TbPrimType::INT16, true, 2, 96,
                                         false, true, 128, 2, 1, "zstd");
  }
  ConsoleCapture console;
  TempDir dir;
};

TEST_F(BrixConverterTest, ThisHostSaysItHasNoTiledConverterAndWritesNothing) {
  const TbFilename output(dir.file("out.lda"));
  EXPECT_EQ(convert(output), 0);
  EXPECT_EQ(console.lines, std::vector<std::string>{"tiled conversion is not available in this host"});
  EXPECT_FALSE(output.doesExist());
}

TEST_F(BrixConverterTest, AnInstalledImplementationGetsEveryArgumentAndNullRestoresTheDefault) {
  lastCall = Call();
  UxBrixConverter::setImplementation(recordingConverter);
  EXPECT_EQ(convert(TbFilename("/out/volume.lda")), 1);
  EXPECT_EQ(lastCall.count, 1);
  EXPECT_EQ(lastCall.firstFile, "/data/slab.raw");
  EXPECT_EQ(lastCall.output, "/out/volume.lda");
  EXPECT_EQ(lastCall.box[3], 4.0f);
  EXPECT_EQ(lastCall.box[5], 8.0f);
  EXPECT_EQ(lastCall.dims[2], 256);
  EXPECT_EQ(lastCall.primType, TbPrimType::INT16);
  EXPECT_TRUE(lastCall.littleEndian);
  EXPECT_EQ(lastCall.convertMethod, 2);
  EXPECT_EQ(lastCall.headerBytes, 96);
  EXPECT_FALSE(lastCall.doubleToFloat);
  EXPECT_TRUE(lastCall.isRaw);
  EXPECT_EQ(lastCall.tileSize, 128);
  EXPECT_EQ(lastCall.borderSize, 2);
  EXPECT_EQ(lastCall.samplingType, 1);
  EXPECT_EQ(lastCall.compressor, "zstd");
  EXPECT_TRUE(console.lines.empty());

  UxBrixConverter::setImplementation(nullptr);
  EXPECT_EQ(convert(TbFilename("/out/volume.lda")), 0);
  EXPECT_EQ(lastCall.count, 1);
}

TEST(BoxAndVectorTest, DefaultToZerosAndIndexLikeArrays) {
  TbBox3f box;
  TbVec3i vec;
  for (int i = 0; i < 6; ++i) EXPECT_EQ(box[i], 0.0f);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(vec[i], 0);
  box[4] = -3.5f;
  vec[1] = 7;
  EXPECT_EQ(box.values[4], -3.5f);
  EXPECT_EQ(box.getValue()[4], -3.5f);
  EXPECT_EQ(vec.getValue()[1], 7);
  const TbVec3i given(1, 2, 3);
  EXPECT_EQ(given[2], 3);
}

}  // namespace
