// The host's tiled converter on real files: what it refuses, and that a
// refusal, a "No", Ctrl-C or a full disk never leaves a store behind or
// touches an existing one. What a store holds is checked by zarr-python
// (tests/python/test_lda.py).
#include "host/formats/UxBrixConverter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "host/codecs/SoDataCompressors.h"
#include "host/console/UxWorkArea.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

class BrixConverterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initDataCompressors();
    std::mt19937 noise(3);
    std::string volume(64 * 64 * 32 * 2, '\0');
    for (char& byte : volume) byte = static_cast<char>(noise());
    writeWholeFile(dir.file("in.raw"), volume);
  }
  void TearDown() override { UxWorkArea::interruptAfterChecks(-1); }

  int convert(const std::string& output, int tileSize = 16, int sampling = 1,
              const char* compressor = "zstd", int numFiles = 1) {
    const std::string input = dir.file("in.raw");
    TbDArray<const char*> files;
    for (int i = 0; i < numFiles; ++i) files.append(input.c_str());
    return UxBrixConverter::convertToLDA(files, TbFilename(output.c_str()), TbBox3f(0, 1, 0, 1, 0, 1),
                                         TbVec3i(64, 64, 32), TbPrimType::UINT16, true, 2, 0, false,
                                         true, tileSize, 3, sampling, compressor);
  }
  std::vector<std::string> entries(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      names.push_back(entry.path().filename().string());
    return names;
  }
  bool printed(const std::string& part) const {
    for (const std::string& line : console.lines)
      if (line.find(part) != std::string::npos) return true;
    return false;
  }

  ConsoleCapture console;
  TempDir dir;
};

TEST_F(BrixConverterTest, RefusesWhatItCannotWriteWithAMessageAndLeavesNothing) {
  struct Case {
    int tileSize, sampling;
    const char* compressor;
    int numFiles;
    const char* message;
  };
  const Case cases[] = {
      {4, 1, "zstd", 1, "Error: tile size 4: expected 8 to 512"},
      {16, 2, "zstd", 1, "Error: sampling type 2: expected 0 (Sharp) or 1 (Average)"},
      {16, 1, "brotli", 1, "Error: unknown compressor \"brotli\": expected one of zlib, zstd, lz4, blosc, or none"},
      {16, 1, "lz4", 2, "Error: 2 raw files for 32 slices: give one file, or one file per slice"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(convert(dir.file("out.lda"), c.tileSize, c.sampling, c.compressor, c.numFiles), 0);
    EXPECT_TRUE(console.saw(c.message));
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"in.raw"});
  }
}

TEST_F(BrixConverterTest, AnExistingOutputIsKeptOnNoAndReplacedWholeOnYes) {
  std::filesystem::create_directory(dir.file("out.lda"));
  writeWholeFile(dir.file("out.lda/stale"), "old");
  EXPECT_EQ(convert(dir.file("out.lda")), -1);
  EXPECT_EQ(entries(dir.file("out.lda")), std::vector<std::string>{"stale"});
  UxBatchAnswers::push(UxBatchAnswers::kindFromName("warning"), {"Yes"});
  EXPECT_EQ(convert(dir.file("out.lda")), 1);
  EXPECT_FALSE(fileExists(dir.file("out.lda/stale")));
  EXPECT_TRUE(fileExists(dir.file("out.lda/0/.zarray")));
  EXPECT_EQ(entries(dir.path()).size(), 2u);  // no temporary folder beside it
}

TEST_F(BrixConverterTest, CtrlCStopsAtTheNextSlabAndRemovesThePartialStore) {
  UxWorkArea::interruptAfterChecks(1);
  EXPECT_EQ(convert(dir.file("out.lda")), -1);
  EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"in.raw"});
}

TEST_F(BrixConverterTest, AFullDiskFailsWithAMessageAndLeavesNothing) {
  const std::string small = dir.file("small");
  std::filesystem::create_directory(small);
  if (std::system(("mount -t tmpfs -o size=128k tmpfs " + small + " 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "cannot mount a small tmpfs here";
  EXPECT_EQ(convert(small + "/out.lda", 16, 1, "none"), 0);
  EXPECT_TRUE(printed("No space left on device"));
  EXPECT_TRUE(entries(small).empty());
  std::system(("umount " + small).c_str());
}

}  // namespace
