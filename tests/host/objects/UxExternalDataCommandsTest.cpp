#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "support/ObjectCommandRunner.h"
#include "tests/host/shell/fixture/MemoryVolume.h"
#include "support/TempDir.h"

namespace {

// 6 x 5 x 4 samples of two uint16 components: (x + 10 y + 100 z, 7).
struct Lattice : MemoryVolume {
  static constexpr int kDims[3] = {6, 5, 4};
  Lattice() : MemoryVolume(kDims, 2, TbPrimType::UINT16) {
    for (int z = 0; z < 4; ++z)
      for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) {
          const uint16_t sample[2] = {static_cast<uint16_t>(x + 10 * y + 100 * z), 7};
          std::memcpy(sampleAt(x, y, z), sample, sizeof sample);
        }
  }
};

std::string samples(std::initializer_list<uint16_t> values) {
  std::string bytes(values.size() * 2, '\0');
  std::memcpy(&bytes[0], values.begin(), bytes.size());
  return bytes;
}

class DataCommandsTest : public ::testing::Test {
 protected:
  Lattice volume;
  ObjectCommandRunner tcl;
  TempDir dir;
};

TEST_F(DataCommandsTest, ShapeQueries) {
  tcl.run(volume, {"vol", "getDims"});
  EXPECT_EQ(tcl.result(), "6 5 4");
  tcl.run(volume, {"vol", "getNDataVar"});
  EXPECT_EQ(tcl.result(), "2");
  tcl.run(volume, {"vol", "getPrimType"});
  EXPECT_EQ(tcl.result(), "uint16");
  volume.writable = false;
  tcl.run(volume, {"vol", "isWritable"});
  EXPECT_EQ(tcl.result(), "0");
  volume.box[5] = 2.5f;
  tcl.run(volume, {"vol", "getBoundingBox"});
  EXPECT_EQ(tcl.result(), "-1 1 -1 1 -1 2.5");
}

TEST_F(DataCommandsTest, ReadBoxAsksOnceForTheBoxAndWritesItsBytes) {
  const std::string file = dir.file("box.raw");
  ASSERT_EQ(tcl.run(volume, {"vol", "readBox", file, "1", "2", "3", "3", "2", "1"}), TCL_OK)
      << tcl.result();
  EXPECT_EQ(tcl.result(), "24");
  EXPECT_EQ(readWholeFile(file), samples({321, 7, 322, 7, 323, 7, 331, 7, 332, 7, 333, 7}));
  ASSERT_EQ(volume.seen.size(), 1u);
  const auto& request = volume.seen[0];
  for (int a = 0; a < 3; ++a) {
    EXPECT_EQ(request.bufferOrigin[a], request.origin[a]);
    EXPECT_EQ(request.bufferSize[a], request.size[a]);
    EXPECT_EQ(request.subsampling[a], 1);
  }
  EXPECT_EQ(request.origin[2], 3);
  EXPECT_EQ(request.size[0], 3);
}

TEST_F(DataCommandsTest, ReadBoxCountsTheSizeAtTheRequestedSubsampling) {
  const std::string file = dir.file("coarse.raw");
  ASSERT_EQ(tcl.run(volume, {"vol", "readBox", file, "0", "0", "1", "3", "2", "1", "2", "3", "1"}),
            TCL_OK)
      << tcl.result();
  EXPECT_EQ(readWholeFile(file), samples({100, 7, 102, 7, 104, 7, 130, 7, 132, 7, 134, 7}));
  ASSERT_EQ(volume.seen.size(), 1u);
  EXPECT_EQ(volume.seen[0].subsampling[1], 3);
}

TEST_F(DataCommandsTest, ReadBoxRefusesBadWordsWithExactTexts) {
  const std::string file = dir.file("never.raw");
  const struct {
    std::vector<std::string> words;
    const char* error;
  } cases[] = {
      {{"vol", "readBox", file, "0", "0", "0"}, "readBox: expected FILE ox oy oz nx ny nz ?sx sy sz?"},
      {{"vol", "readBox", file, "0", "0", "0", "1", "1", "1", "2"},
       "readBox: expected FILE ox oy oz nx ny nz ?sx sy sz?"},
      {{"vol", "readBox", file, "0", "y", "0", "1", "1", "1"},
       "readBox: bad oy \"y\": expected an integer"},
      {{"vol", "readBox", file, "0", "0", "0", "1", "0", "1"},
       "readBox: bad ny 0: expected 1 or more"},
      {{"vol", "readBox", file, "0", "0", "0", "1", "1", "1", "1", "1", "-2"},
       "readBox: bad sz -2: expected 1 or more"},
      {{"vol", "readBox", file, "5", "0", "0", "2", "1", "1"}, "readBox: getBlock failed for vol"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tcl.run(volume, c.words), TCL_ERROR);
    EXPECT_EQ(tcl.result(), c.error);
  }
  EXPECT_FALSE(fileExists(file));
}

TEST_F(DataCommandsTest, ReadBoxReportsAFileItCannotWrite) {
  const std::string file = dir.file("missing-folder/box.raw");
  EXPECT_EQ(tcl.run(volume, {"vol", "readBox", file, "0", "0", "0", "1", "1", "1"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "readBox: cannot write " + file);
}

TEST_F(DataCommandsTest, WriteBoxPutsTheFileIntoOneFullResolutionRequest) {
  const std::string file = dir.file("in.raw");
  writeWholeFile(file, samples({1, 2, 3, 4, 5, 6, 9, 9}));  // longer than needed is fine
  ASSERT_EQ(tcl.run(volume, {"vol", "writeBox", file, "4", "1", "2", "1", "3", "1"}), TCL_OK)
      << tcl.result();
  EXPECT_EQ(tcl.result(), "12");
  uint16_t written[2];
  std::memcpy(written, volume.sampleAt(4, 3, 2), sizeof written);
  EXPECT_EQ(written[0], 5);
  EXPECT_EQ(written[1], 6);
  ASSERT_EQ(volume.seen.size(), 1u);
  EXPECT_EQ(volume.seen[0].subsampling[0], 1);
  EXPECT_EQ(volume.seen[0].bufferSize[1], 3);
}

TEST_F(DataCommandsTest, WriteBoxFailuresSayWhy) {
  const std::string shortFile = dir.file("short.raw");
  writeWholeFile(shortFile, "abc");
  EXPECT_EQ(tcl.run(volume, {"vol", "writeBox", shortFile, "0", "0", "0", "3", "2", "1"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "writeBox: " + shortFile + " holds 3 bytes, 24 needed");
  const std::string missing = dir.file("absent.raw");
  EXPECT_EQ(tcl.run(volume, {"vol", "writeBox", missing, "0", "0", "0", "1", "1", "1"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "writeBox: cannot read " + missing);
  volume.writable = false;
  writeWholeFile(shortFile, samples({1, 2}));
  EXPECT_EQ(tcl.run(volume, {"vol", "writeBox", shortFile, "0", "0", "0", "1", "1", "1"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "writeBox: putBlock failed for vol");
  EXPECT_EQ(tcl.run(volume, {"vol", "writeBox", shortFile, "0", "0", "0", "1", "1"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "writeBox: expected FILE ox oy oz nx ny nz");
}

struct ParameterSaver : Lattice {
  bool canSaveParameters() const override { return true; }
  int saveParameters(const UxParamBundle& params) override {
    savedFrom = &params;
    return result;
  }
  const UxParamBundle* savedFrom = nullptr;
  int result = 1;
};

TEST_F(DataCommandsTest, SaveParametersHandsOverTheObjectsOwnBundle) {
  ParameterSaver saver;
  EXPECT_EQ(tcl.run(saver, {"s", "saveParameters"}), TCL_OK);
  EXPECT_EQ(saver.savedFrom, &saver.parameters());
  saver.result = 0;
  EXPECT_EQ(tcl.run(saver, {"s", "saveParameters"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "saveParameters: saving the parameters of s failed");
  EXPECT_EQ(tcl.run(volume, {"vol", "saveParameters"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "saveParameters: vol cannot save its parameters");
}

TEST_F(DataCommandsTest, UnknownWordListsTheDataCommandsFirst) {
  EXPECT_EQ(tcl.run(volume, {"vol", "frobnicate"}), TCL_ERROR);
  EXPECT_EQ(tcl.result().rfind("unknown command \"frobnicate\"; known: getDims, getNDataVar, "
                               "getPrimType, isWritable, readBox, writeBox, saveParameters, "
                               "preview, getBoundingBox",
                               0),
            0u)
      << tcl.result();
}

// 8 x 6 x 4 bytes, value x * 10 + y + z, so every slice has its own range.
struct Ramp : MemoryVolume {
  static constexpr int kDims[3] = {8, 6, 4};
  Ramp() : MemoryVolume(kDims, 1, TbPrimType::UINT8) {
    for (int z = 0; z < 4; ++z)
      for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x) *sampleAt(x, y, z) = static_cast<unsigned char>(x * 10 + y + z);
  }
};

int grey(const QImage& image, int column, int row) { return image.constScanLine(row)[column]; }

TEST_F(DataCommandsTest, PreviewStretchesTheSlicesRangeToGrey) {
  Ramp ramp;
  const std::string png = dir.file("z.png");
  ASSERT_EQ(tcl.run(ramp, {"ramp", "preview", png, "z", "2"}), TCL_OK) << tcl.result();
  EXPECT_EQ(tcl.result(), "8 6");
  const QImage image(QString::fromStdString(png));
  ASSERT_EQ(image.format(), QImage::Format_Grayscale8);
  ASSERT_EQ(image.width(), 8);
  ASSERT_EQ(image.height(), 6);
  EXPECT_EQ(grey(image, 0, 0), 0);
  EXPECT_EQ(grey(image, 7, 5), 255);
  EXPECT_EQ(grey(image, 3, 2), std::lround((34.0 - 2.0) / 75.0 * 255.0));  // 34 in 2..77
  ASSERT_EQ(ramp.seen.size(), 1u);
  EXPECT_EQ(ramp.seen[0].origin[2], 2);
  EXPECT_EQ(ramp.seen[0].size[2], 1);
}

TEST_F(DataCommandsTest, PreviewAlongXUsesYAcrossAndZDown) {
  Ramp ramp;
  const std::string png = dir.file("x.png");
  ASSERT_EQ(tcl.run(ramp, {"ramp", "preview", png, "x", "7"}), TCL_OK) << tcl.result();
  const QImage image(QString::fromStdString(png));
  ASSERT_EQ(image.width(), 6);
  ASSERT_EQ(image.height(), 4);
  EXPECT_EQ(grey(image, 0, 0), 0);    // y 0, z 0: the slice's minimum, 70
  EXPECT_EQ(grey(image, 5, 3), 255);  // y 5, z 3: its maximum, 78
}

TEST_F(DataCommandsTest, PreviewSubsamplesAllAxesInOneRequest) {
  Ramp ramp;
  const std::string png = dir.file("sub.png");
  ASSERT_EQ(tcl.run(ramp, {"ramp", "preview", png, "y", "1", "4"}), TCL_OK) << tcl.result();
  EXPECT_EQ(tcl.result(), "2 1");
  ASSERT_EQ(ramp.seen.size(), 1u);
  for (int a = 0; a < 3; ++a) EXPECT_EQ(ramp.seen[0].subsampling[a], 4);
  EXPECT_EQ(ramp.seen[0].size[2], 1) << "max(1, 4 / 4)";
}

TEST_F(DataCommandsTest, PreviewOfAConstantSliceIsBlack) {
  const int dims[3] = {3, 3, 1};
  MemoryVolume flat(dims, 1, TbPrimType::FLOAT);
  const float value = 42.0f;
  for (int i = 0; i < 9; ++i) std::memcpy(flat.bytes.data() + 4 * i, &value, 4);
  const std::string png = dir.file("flat.png");
  ASSERT_EQ(tcl.run(flat, {"flat", "preview", png, "z", "0"}), TCL_OK) << tcl.result();
  const QImage image(QString::fromStdString(png));
  for (int row = 0; row < 3; ++row)
    for (int column = 0; column < 3; ++column) EXPECT_EQ(grey(image, column, row), 0);
}

TEST_F(DataCommandsTest, PreviewRefusesBadRequestsWithExactTexts) {
  Ramp ramp;
  const std::string png = dir.file("bad.png");
  const struct {
    std::vector<std::string> words;
    const char* error;
  } cases[] = {
      {{"ramp", "preview", png, "w", "0"}, "preview: bad axis \"w\": expected x, y or z"},
      {{"ramp", "preview", png, "z", "4"}, "preview: index 4 out of range 0..3 for axis z"},
      {{"ramp", "preview", png, "x", "-1"}, "preview: index -1 out of range 0..7 for axis x"},
      {{"ramp", "preview", png, "z", "1.5"}, "preview: bad INDEX \"1.5\": expected an integer"},
      {{"ramp", "preview", png, "z", "0", "0"}, "preview: bad SUBSAMPLING 0: expected 1 or more"},
      {{"ramp", "preview", png}, "preview: expected FILE.png AXIS INDEX ?SUBSAMPLING?"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tcl.run(ramp, c.words), TCL_ERROR);
    EXPECT_EQ(tcl.result(), c.error);
  }
  const int dims[3] = {2, 2, 2};
  UxExternalData servesNothing(dims, 1, TbPrimType::UINT8);
  EXPECT_EQ(tcl.run(servesNothing, {"none", "preview", png, "z", "0"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "preview: getBlock failed");
  EXPECT_FALSE(fileExists(png));
}

}  // namespace
