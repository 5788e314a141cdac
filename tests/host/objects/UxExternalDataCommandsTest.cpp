// The commands every external data object answers, run through a real Tcl
// interpreter on in-memory volumes: shape queries, boxes read to and written
// from real files, slice previews as real PNG files, and the exact refusals.
#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "support/ObjectCommandRunner.h"
#include "support/TempDir.h"
#include "tests/host/shell/fixture/MemoryVolume.h"

namespace {

using Words = std::vector<std::string>;

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

// 8 x 6 x 4 bytes, value x * 10 + y + z, so every slice has its own range.
struct Ramp : MemoryVolume {
  static constexpr int kDims[3] = {8, 6, 4};
  Ramp() : MemoryVolume(kDims, 1, TbPrimType::UINT8) {
    for (int z = 0; z < 4; ++z)
      for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x) *sampleAt(x, y, z) = static_cast<unsigned char>(x * 10 + y + z);
  }
};

Words operator+(Words a, const Words& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::string samples(std::initializer_list<uint16_t> values) {
  std::string bytes(values.size() * 2, '\0');
  std::memcpy(&bytes[0], values.begin(), bytes.size());
  return bytes;
}

// The request's box and subsampling, "origin o o o size s s s by b b b".
std::string requestOf(const UxExternalData::BlockRequest& r) {
  std::string text = "origin";
  for (int a = 0; a < 3; ++a) text += " " + std::to_string(r.origin[a]);
  text += " size";
  for (int a = 0; a < 3; ++a) text += " " + std::to_string(r.size[a]);
  text += " by";
  for (int a = 0; a < 3; ++a) text += " " + std::to_string(r.subsampling[a]);
  for (int a = 0; a < 3; ++a)
    if (r.bufferOrigin[a] != r.origin[a] || r.bufferSize[a] != r.size[a]) text += " (buffer differs)";
  return text;
}

class DataCommandsTest : public ::testing::Test {
 protected:
  Lattice volume;
  Ramp ramp;
  ObjectCommandRunner tcl;
  TempDir dir;
};

// readBox asks once for the box, counted at the subsampling, and writes its
// bytes; writeBox puts a file (longer than needed is fine) into one
// full-resolution request; a read-only object says so.
TEST_F(DataCommandsTest, BoxesGoToAndFromFilesInOneRequest) {
  const std::string file = dir.file("box.raw");
  const struct {
    Words words;
    const char* result;
    std::string bytes;
    const char* request;
  } cases[] = {{{"readBox", file, "1", "2", "3", "3", "2", "1"}, "24",
                samples({321, 7, 322, 7, 323, 7, 331, 7, 332, 7, 333, 7}), "origin 1 2 3 size 3 2 1 by 1 1 1"},
               {{"readBox", file, "0", "0", "1", "3", "2", "1", "2", "3", "1"}, "24",
                samples({100, 7, 102, 7, 104, 7, 130, 7, 132, 7, 134, 7}), "origin 0 0 1 size 3 2 1 by 2 3 1"}};
  for (const auto& c : cases) {
    volume.seen.clear();
    ASSERT_EQ(tcl.run(volume, Words{"vol"} + c.words), TCL_OK) << tcl.result();
    EXPECT_EQ(tcl.result(), c.result);
    EXPECT_EQ(readWholeFile(file), c.bytes);
    ASSERT_EQ(volume.seen.size(), 1u);
    EXPECT_EQ(requestOf(volume.seen[0]), c.request);
  }
  volume.seen.clear();
  writeWholeFile(file, samples({1, 2, 3, 4, 5, 6, 9, 9}));
  ASSERT_EQ(tcl.run(volume, {"vol", "writeBox", file, "4", "1", "2", "1", "3", "1"}), TCL_OK) << tcl.result();
  EXPECT_EQ(tcl.result(), "12");
  uint16_t writtenSample[2];
  std::memcpy(writtenSample, volume.sampleAt(4, 3, 2), sizeof writtenSample);
  EXPECT_EQ(writtenSample[0] * 100 + writtenSample[1], 506);
  ASSERT_EQ(volume.seen.size(), 1u);
  EXPECT_EQ(requestOf(volume.seen[0]), "origin 4 1 2 size 1 3 1 by 1 1 1");
  volume.writable = false;
  ASSERT_EQ(tcl.run(volume, {"vol", "isWritable"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "0");
}

// A slice's range is stretched to 0..255 (a constant slice is black), its
// axes read across and down, one request subsampling every axis.
TEST_F(DataCommandsTest, PreviewsAreGreySlicesOfOneRequest) {
  const std::string png = dir.file("slice.png");
  const int dims[3] = {3, 3, 1};
  MemoryVolume flat(dims, 1, TbPrimType::FLOAT);
  const float value = 42.0f;
  for (int i = 0; i < 9; ++i) std::memcpy(flat.bytes.data() + 4 * i, &value, 4);
  const struct {
    MemoryVolume& object;
    Words words;
    const char* size;
    std::vector<int> corners;  // grey at the first and last pixel, and at (3, 2) where there is one
    const char* request;
  } cases[] = {{ramp, {"z", "2"}, "8 6", {0, 255, static_cast<int>(std::lround((34.0 - 2.0) / 75.0 * 255.0))},
                "origin 0 0 2 size 8 6 1 by 1 1 1"},  // 34 in 2..77
               {ramp, {"x", "7"}, "6 4", {0, 255, 159}, "origin 7 0 0 size 1 6 4 by 1 1 1"},  // 75 in 70..78
               {ramp, {"y", "1", "4"}, "2 1", {0, 255}, "origin 0 1 0 size 2 1 1 by 4 4 4"},  // max(1, 4 / 4) slices
               {flat, {"z", "0"}, "3 3", {0, 0}, "origin 0 0 0 size 3 3 1 by 1 1 1"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words[0]);
    c.object.seen.clear();
    ASSERT_EQ(tcl.run(c.object, Words{"v", "preview", png} + c.words), TCL_OK) << tcl.result();
    EXPECT_EQ(tcl.result(), c.size);
    const QImage image(QString::fromStdString(png));
    ASSERT_EQ(image.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(std::to_string(image.width()) + " " + std::to_string(image.height()), c.size);
    std::vector<int> corners = {image.constScanLine(0)[0], image.constScanLine(image.height() - 1)[image.width() - 1]};
    if (image.width() > 3 && image.height() > 2) corners.push_back(image.constScanLine(2)[3]);
    EXPECT_EQ(corners, c.corners);
    ASSERT_EQ(c.object.seen.size(), 1u);
    EXPECT_EQ(requestOf(c.object.seen[0]), c.request);
  }
}

TEST_F(DataCommandsTest, BadWordsAreRefusedWithExactTexts) {
  const std::string file = dir.file("never.raw"), shortFile = dir.file("short.raw"), png = dir.file("bad.png"),
                    oneSample = dir.file("one.raw");
  writeWholeFile(shortFile, "abc");
  writeWholeFile(oneSample, samples({1, 2}));
  const int dims[3] = {2, 2, 2};
  UxExternalData servesNothing(dims, 1, TbPrimType::UINT8);
  Lattice readOnly;
  readOnly.writable = false;
  const std::string usage = "readBox: expected FILE ox oy oz nx ny nz ?sx sy sz?";
  const struct { UxExternalData& object; Words words; std::string error; } cases[] = {
      {volume, {"readBox", file, "0", "0", "0"}, usage},
      {volume, {"readBox", file, "0", "0", "0", "1", "1", "1", "2"}, usage},
      {volume, {"readBox", file, "0", "y", "0", "1", "1", "1"}, "readBox: bad oy \"y\": expected an integer"},
      {volume, {"readBox", file, "0", "0", "0", "1", "0", "1"}, "readBox: bad ny 0: expected 1 or more"},
      {volume, {"readBox", file, "0", "0", "0", "1", "1", "1", "1", "1", "-2"}, "readBox: bad sz -2: expected 1 or more"},
      {volume, {"readBox", file, "5", "0", "0", "2", "1", "1"}, "readBox: getBlock failed for v"},
      {volume, {"readBox", dir.file("no/box.raw"), "0", "0", "0", "1", "1", "1"},
       "readBox: cannot write " + dir.file("no/box.raw")},
      {volume, {"writeBox", shortFile, "0", "0", "0", "3", "2", "1"}, "writeBox: " + shortFile + " holds 3 bytes, 24 needed"},
      {volume, {"writeBox", file, "0", "0", "0", "1", "1", "1"}, "writeBox: cannot read " + file},
      {readOnly, {"writeBox", oneSample, "0", "0", "0", "1", "1", "1"}, "writeBox: putBlock failed for v"},
      {volume, {"writeBox", shortFile, "0", "0", "0", "1", "1"}, "writeBox: expected FILE ox oy oz nx ny nz"},
      {ramp, {"preview", png, "w", "0"}, "preview: bad axis \"w\": expected x, y or z"},
      {ramp, {"preview", png, "z", "4"}, "preview: index 4 out of range 0..3 for axis z"},
      {ramp, {"preview", png, "x", "-1"}, "preview: index -1 out of range 0..7 for axis x"},
      {ramp, {"preview", png, "z", "1.5"}, "preview: bad INDEX \"1.5\": expected an integer"},
      {ramp, {"preview", png, "z", "0", "0"}, "preview: bad SUBSAMPLING 0: expected 1 or more"},
      {ramp, {"preview", png}, "preview: expected FILE.png AXIS INDEX ?SUBSAMPLING?"},
      {servesNothing, {"preview", png, "z", "0"}, "preview: getBlock failed"},
      {volume, {"saveParameters"}, "saveParameters: v cannot save its parameters"}};
  for (const auto& c : cases) {
    EXPECT_EQ(tcl.run(c.object, Words{"v"} + c.words), TCL_ERROR) << c.error;
    EXPECT_EQ(tcl.result(), c.error);
  }
  EXPECT_FALSE(fileExists(file));
  EXPECT_FALSE(fileExists(png));
  EXPECT_EQ(tcl.run(volume, {"vol", "frobnicate"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "unknown command \"frobnicate\"; known: getDims, getNDataVar, getPrimType, isWritable, "
                         "readBox, writeBox, saveParameters, preview, getBoundingBox, isModified, getLoadCmd, "
                         "getFormatName, getLabel, setLabel, getTypeId");
}

// saveParameters hands the object's own bundle to an object that can save it.
TEST_F(DataCommandsTest, SaveParametersHandsOverTheObjectsOwnBundle) {
  struct ParameterSaver : Lattice {
    bool canSaveParameters() const override { return true; }
    int saveParameters(const UxParamBundle& params) override {
      savedFrom = &params;
      return result;
    }
    const UxParamBundle* savedFrom = nullptr;
    int result = 1;
  } saver;
  EXPECT_EQ(tcl.run(saver, {"s", "saveParameters"}), TCL_OK);
  EXPECT_EQ(saver.savedFrom, &saver.parameters());
  saver.result = 0;
  EXPECT_EQ(tcl.run(saver, {"s", "saveParameters"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "saveParameters: saving the parameters of s failed");
}

}  // namespace
