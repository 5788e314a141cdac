// The tiled converter's seam: this host has none, and says so; a package's
// tests put their own in its place and get every argument through.
#include "host/formats/UxBrixConverter.h"

#include <gtest/gtest.h>

#include <string>

#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

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

// Every argument reaching an installed converter is checked by the package's
// driver tests; here only the swap itself.
TEST_F(BrixConverterTest, AnInstalledImplementationAnswersAndNullRestoresTheDefault) {
  UxBrixConverter::setImplementation([](const TbDArray<const char*>&, const TbFilename&, const TbBox3f&,
                                        const TbVec3i&, const TbPrimType&, bool, int, int, bool, bool, int,
                                        int, int, const char*) { return 7; });
  EXPECT_EQ(convert(TbFilename("/out/volume.lda")), 7);
  EXPECT_TRUE(console.lines.empty());
  UxBrixConverter::setImplementation(nullptr);
  EXPECT_EQ(convert(TbFilename("/out/volume.lda")), 0);
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
