// The disk-data object against real files: creation and its refusals, block
// requests and their subsampling rules, the overwrite question.
#include "diskdata/UxDiskData.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <vector>

#include "host/types/TbTypeInfo.h"
#include "host/objects/UxLatticeTypes.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

const float kBox[6] = {0, 10, 0, 20, 0, 30};

struct Released {
  void operator()(UxDiskData* data) const { delete data; }
};
using DiskData = std::unique_ptr<UxDiskData, Released>;

DiskData createSet(const std::string& name, const int* dims, int nDataVar = 1,
                   TbPrimType type = TbPrimType::UINT16, const char* dataPath = nullptr) {
  return DiskData(UxDiskData::create(name.c_str(), dataPath, dims, nDataVar, type, kBox));
}

UxExternalData::BlockRequest boxRequest(void* data, const int* origin, const int* size, const int* subsampling) {
  UxExternalData::BlockRequest request;
  request.data = data;
  for (int a = 0; a < 3; ++a) {
    request.origin[a] = request.bufferOrigin[a] = origin[a];
    request.size[a] = request.bufferSize[a] = size[a];
    request.subsampling[a] = subsampling[a];
  }
  return request;
}

TEST(UxDiskDataCreate, MakesADescribedWritableSet) {
  TempDir dir;
  const int dims[3] = {100, 40, 9};
  DiskData data = createSet(dir.file("head.km"), dims);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->isWritable(), 1);
  EXPECT_TRUE(data->canSaveParameters());
  EXPECT_STREQ(data->getLabel(), "head.km");
  EXPECT_EQ(data->isModified(), 0u);
  EXPECT_TRUE(fileExists(dir.file("head.km")));
  EXPECT_TRUE(fileExists(dir.file("head.km-0000.dat")));  // the description's own name as template
  EXPECT_TRUE(fileExists(dir.file("head.km-SUPR.dat")));
  float box[6];
  data->getBoundingBox(box);
  EXPECT_EQ(std::vector<float>(box, box + 6), std::vector<float>(kBox, kBox + 6));
  int blocking[3] = {0, 0, 0};
  ASSERT_TRUE(data->parameters().bundle("UxExternalData")->findNum("Blocking", 3, blocking));
  EXPECT_EQ(std::vector<int>(blocking, blocking + 3), (std::vector<int>{32, 16, 4}));
}

TEST(UxDiskDataCreate, AFailedDescriptionRemovesTheBlockFiles) {
  TempDir dir;
  ConsoleCapture console;
  const int dims[3] = {8, 8, 8};
  const std::string name = dir.file("missing-folder/d.km");
  const std::string blocks = dir.file("blocks");
  EXPECT_FALSE(createSet(name, dims, 1, TbPrimType::UINT16, blocks.c_str()));
  EXPECT_TRUE(console.saw("failed to save " + name));
  EXPECT_FALSE(fileExists(blocks + "-SUPR.dat"));
  EXPECT_FALSE(fileExists(blocks + "-0000.dat"));
}

TEST(UxDiskDataRequests, SubsamplingRules) {
  TempDir dir;
  const int dims[3] = {64, 32, 8};
  DiskData data = createSet(dir.file("r.km"), dims);
  std::vector<uint16_t> box(64 * 32 * 8);
  for (size_t i = 0; i < box.size(); ++i) box[i] = static_cast<uint16_t>(i);
  const int origin[3] = {0, 0, 0};
  const int ones[3] = {1, 1, 1}, twoX[3] = {2, 1, 1}, three[3] = {3, 1, 1}, zero[3] = {0, 1, 1};
  auto whole = boxRequest(box.data(), origin, dims, ones);
  EXPECT_EQ(data->putBlock(&whole), 1);

  testing::internal::CaptureStdout();
  auto coarseWrite = boxRequest(box.data(), origin, dims, twoX);
  EXPECT_EQ(data->putBlock(&coarseWrite), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "no subsampling allowed");

  const int half[3] = {32, 32, 8};
  std::vector<uint16_t> read(32 * 32 * 8);
  auto coarseRead = boxRequest(read.data(), origin, half, twoX);
  ASSERT_EQ(data->getBlock(&coarseRead), 1);
  EXPECT_EQ(read[0], 0);   // samples 0 and 1: 0.5 rounds to even
  EXPECT_EQ(read[5], 10);  // samples 10 and 11: 10.5 rounds to even
  EXPECT_EQ(read[6], 12);  // samples 12 and 13: 12.5 rounds to even

  for (const int* bad : {three, zero}) {
    std::vector<uint16_t> untouched(read.size(), 7);
    auto refused = boxRequest(untouched.data(), origin, half, bad);
    testing::internal::CaptureStdout();
    EXPECT_EQ(data->getBlock(&refused), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "only 2^n subsampling allowed");
    EXPECT_EQ(untouched, std::vector<uint16_t>(read.size(), 7));
  }
}

TEST(UxDiskDataHook, RefusesOtherLatticesWithoutAsking) {
  const int dims3[3] = {8, 8, 8};
  ConsoleCapture console;
  const char* const curvilinear = "https://korin.invalid/latticetypes#curvilinear";
  for (const auto& [type, nDims, lattice] : {std::make_tuple("uint8", 2, KORIN_UNIFORM_LATTICE_TYPE),
                                             std::make_tuple("uint8", 3, curvilinear),
                                             std::make_tuple("complex", 3, KORIN_UNIFORM_LATTICE_TYPE)})
    EXPECT_EQ(UxDiskData__create_uxlattice(1, type, nDims, dims3, kBox, lattice), nullptr) << type << nDims;
  EXPECT_TRUE(console.lines.empty());  // no dialog was shown
}

}  // namespace
