// Boxes written at level 0 and read back at every subsampling, compared with a
// straightforward reduction of the whole volume.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>

#include "blockstore/BlockWalk.h"
#include "support/FileFaults.h"
#include "support/LatticeOnDisk.h"
#include "support/Unprivileged.h"

namespace {

TEST(BlockWalk, BoxOverTwoBlocks) {
  BlockSpan span = blocksCovering(40, 50, 32);
  EXPECT_EQ(span.first, 1);
  EXPECT_EQ(span.last, 2);
  BlockOverlap one = overlapOf(1, 40, 50, 32);
  EXPECT_EQ(one.blockOffset, 8);
  EXPECT_EQ(one.boxOffset, 0);
  EXPECT_EQ(one.count, 24);
  BlockOverlap two = overlapOf(2, 40, 50, 32);
  EXPECT_EQ(two.blockOffset, 0);
  EXPECT_EQ(two.boxOffset, 24);
  EXPECT_EQ(two.count, 26);
  BlockOverlap inside = overlapOf(1, 40, 5, 32);
  EXPECT_EQ(inside.count, 5);
  span = blocksCovering(0, 0, 32);  // an empty box at 0 still visits block 0, with nothing to move
  EXPECT_EQ(span.first, 0);
  EXPECT_EQ(span.last, 0);
  EXPECT_EQ(overlapOf(0, 0, 0, 32).count, 0);
  span = blocksCovering(64, 0, 32);
  EXPECT_GT(span.first, span.last);
}

template <class T>
class LevelContents : public ::testing::Test {};
using ElementTypes = ::testing::Types<uint8_t, int16_t, uint16_t, int32_t, float, double>;
TYPED_TEST_SUITE(LevelContents, ElementTypes);

// Signed types get negative values too, so rounding of negative means is covered.
template <class T>
ReferenceVolume<T> testVolume(int x, int y, int z, int nc) {
  auto volume = ReferenceVolume<T>::generated(x, y, z, nc);
  if (std::is_signed<T>::value)
    for (T& v : volume.values) v = static_cast<T>(v - 120);
  return volume;
}

TYPED_TEST(LevelContents, EveryLevelMatchesTheReferenceReduction) {
  using T = TypeParam;
  const int dims[3] = {45, 23, 19};  // no axis a multiple of the block
  const int blocking[3] = {8, 8, 8};
  const int nc = 2;
  LatticeOnDisk disk(dims, blocking, nc, primTypeOf<T>());
  ASSERT_EQ(disk.lattice->numLevels, 3);
  auto volume = testVolume<T>(45, 23, 19, nc);
  ASSERT_EQ(disk.write(volume, 5), 1);
  disk.lattice->updateAllLevels(nullptr);

  const int origin[3] = {0, 0, 0};
  const int full[3] = {45, 23, 19};
  const int zero[3] = {0, 0, 0};
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, full, zero), volume)) << "level 0";

  auto level1 = volume.reduced(2, 2, 2);
  auto level2 = level1.reduced(2, 2, 2);
  auto level3 = level2.reduced(2, 2, 2);  // beyond the stored levels: reduced from level 2 in memory
  const int ones[3] = {1, 1, 1}, twos[3] = {2, 2, 2}, threes[3] = {3, 3, 3};
  const int size1[3] = {23, 12, 10}, size2[3] = {12, 6, 5}, size3[3] = {6, 3, 3};
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, size1, ones), level1)) << "level 1";
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, size2, twos), level2)) << "level 2";
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, size3, threes), level3)) << "level 3";

  // Per-axis subsampling: base level 1, then (2,1,1) in memory.
  const int mixed[3] = {2, 1, 1};
  const int sizeMixed[3] = {12, 12, 10};
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, sizeMixed, mixed), level1.reduced(2, 1, 1))) << "levels 2,1,1";
  // A level 0 axis makes level 0 the base: the reduction is done in one step.
  const int flat[3] = {2, 1, 0};
  const int sizeFlat[3] = {12, 12, 19};
  EXPECT_TRUE(sameSamples(disk.read<T>(origin, sizeFlat, flat), volume.reduced(4, 2, 1))) << "levels 2,1,0";
}

TEST(LatticeRead, AnInnerBoxLandsAtItsPlaceInTheBuffer) {
  const int dims[3] = {40, 30, 20};
  const int blocking[3] = {8, 4, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT16);
  auto volume = ReferenceVolume<uint16_t>::generated(40, 30, 20);
  ASSERT_EQ(disk.write(volume, 20), 1);
  // Box (5..17, 3..12, 2..9) read into a larger buffer starting at (4, 2, 1).
  const int origin[3] = {5, 3, 2}, size[3] = {13, 10, 8};
  const int bufferOrigin[3] = {4, 2, 1}, bufferSize[3] = {16, 12, 10};
  std::vector<uint16_t> buffer(16 * 12 * 10, 0xbeef);
  int levels[3] = {0, 0, 0};
  ASSERT_EQ(disk.lattice->getBlock(buffer.data(), origin, size, bufferOrigin, bufferSize, levels), 1);
  for (int z = 0; z < 10; ++z)
    for (int y = 0; y < 12; ++y)
      for (int x = 0; x < 16; ++x) {
        int vx = x + 4, vy = y + 2, vz = z + 1;
        bool inBox = vx >= 5 && vx < 18 && vy >= 3 && vy < 13 && vz >= 2 && vz < 10;
        uint16_t want = inBox ? volume.at(vx, vy, vz) : 0xbeef;
        ASSERT_EQ(buffer[(z * 12 + y) * 16 + x], want) << x << "," << y << "," << z;
      }
}

TEST(LatticeRead, BlocksBeyondTheLatticeLeaveTheBufferAlone) {
  const int dims[3] = {10, 8, 4};
  const int blocking[3] = {8, 8, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  auto volume = ReferenceVolume<uint8_t>::generated(10, 8, 4);
  ASSERT_EQ(disk.write(volume, 4), 1);
  const int origin[3] = {0, 0, 0}, size[3] = {24, 8, 4};  // three blocks along x; the third lies beyond
  const int levels[3] = {0, 0, 0};
  auto box = disk.read<uint8_t>(origin, size, levels, uint8_t(0x77));
  ASSERT_FALSE(box.values.empty());
  EXPECT_EQ(box.at(9, 5, 3), volume.at(9, 5, 3));
  EXPECT_EQ(box.at(12, 5, 3), 0);      // in the border block, beyond dims: stored zeros
  EXPECT_EQ(box.at(16, 5, 3), 0x77);   // a block wholly beyond dims is skipped
}

TEST(LatticeWrite, WholeBlocksAreNotReadPartialOnesAre) {
  const int dims[3] = {64, 32, 16};
  const int blocking[3] = {32, 16, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT16);
  std::vector<uint16_t> block(32 * 16 * 4, 7);
  FileFaults faults;
  const int origin[3] = {32, 16, 4}, size[3] = {32, 16, 4};
  ASSERT_EQ(disk.lattice->putBlock(block.data(), origin, size, origin, size), 1);
  EXPECT_EQ(faults.calls(FileFaults::READ), 0);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 1);

  faults.resetCounts();
  uint16_t sample = 4242;
  const int at[3] = {33, 17, 5}, one[3] = {1, 1, 1};
  ASSERT_EQ(disk.lattice->putBlock(&sample, at, one, at, one), 1);
  EXPECT_EQ(faults.calls(FileFaults::READ), 1);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 1);
  const int levels[3] = {0, 0, 0};
  auto back = disk.read<uint16_t>(origin, size, levels);
  EXPECT_EQ(back.at(1, 1, 1), 4242);
  EXPECT_EQ(back.at(0, 0, 0), 7);  // the rest of the block survived the patch
  EXPECT_EQ(back.at(31, 15, 3), 7);
}

TEST(LatticeWrite, RefusedBoxesWriteNothing) {
  const int dims[3] = {64, 32, 16};
  const int blocking[3] = {32, 16, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  std::vector<uint8_t> data(64 * 32 * 16, 1);
  FileFaults faults;
  const int inside[3] = {0, 0, 0}, whole[3] = {64, 32, 16};
  const int past[3] = {1, 0, 0}, negative[3] = {-1, 0, 0}, small[3] = {10, 10, 10};
  const int shifted[3] = {2, 0, 0};
  EXPECT_EQ(disk.lattice->putBlock(data.data(), past, whole, past, whole), 0);  // beyond dims
  EXPECT_EQ(disk.lattice->putBlock(data.data(), negative, small, negative, small), 0);
  EXPECT_EQ(disk.lattice->putBlock(data.data(), past, small, shifted, small), 0);  // before the buffer
  EXPECT_EQ(disk.lattice->putBlock(data.data(), inside, whole, inside, small), 0);  // past the buffer
  int levels[3] = {0, 0, 0};
  EXPECT_EQ(disk.lattice->getBlock(data.data(), negative, small, negative, small, levels), 0);
  EXPECT_EQ(disk.lattice->getBlock(data.data(), inside, whole, inside, small, levels), 0);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);
  EXPECT_EQ(faults.calls(FileFaults::READ), 0);
}

TEST(LatticeWrite, EmptyBoxAtTheOriginRewritesBlockZeroUnchanged) {
  const int dims[3] = {64, 32, 16};
  const int blocking[3] = {32, 16, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  disk.lattice->updateAllLevels(nullptr);
  FileFaults faults;
  uint8_t nothing = 0;
  const int origin[3] = {0, 0, 0}, empty[3] = {0, 0, 0};
  ASSERT_EQ(disk.lattice->putBlock(&nothing, origin, empty, origin, empty), 1);
  EXPECT_EQ(faults.calls(FileFaults::READ), 1);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 2);  // the intent record (level 1 is flagged on disk), then the block
  int level1[3] = {0, 0, 0};
  EXPECT_FALSE(disk.lattice->blockManager->validFlag(disk.lattice->getBlockNo(level1, 1)));
}

TEST(LatticeWrite, ClearWritesEveryBlockOfEveryLevelOnce) {
  const int dims[3] = {100, 100, 1};
  const int blocking[3] = {64, 64, 64};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  FileFaults faults;
  disk.lattice->clear();
  ASSERT_EQ(faults.writes().size(), 1u);  // one run of blocks
  EXPECT_EQ(faults.writes()[0].bytes, int64_t(disk.lattice->numBlocks) * disk.lattice->blockBytes());
  for (int b = 0; b < disk.lattice->numBlocks; ++b) EXPECT_TRUE(disk.lattice->blockManager->validFlag(b));
}

TEST(LatticeFlags, WriteClearsCoarserFlagsInMemoryUntilTheNextRead) {
  const int dims[3] = {64, 64, 64};
  const int blocking[3] = {8, 8, 8};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  LatticeManager& lattice = *disk.lattice;
  ASSERT_EQ(lattice.numLevels, 3);
  lattice.updateAllLevels(nullptr);
  const std::string flagFile = disk.setName() + "-SUPR.dat";
  const std::string storedBefore = readWholeFile(flagFile);

  std::vector<uint8_t> box(8 * 8 * 8, 200);
  const int origin[3] = {16, 8, 24}, size[3] = {8, 8, 8};
  ASSERT_EQ(lattice.putBlock(box.data(), origin, size, origin, size), 1);
  int k0[3] = {2, 1, 3}, k1[3] = {1, 0, 1}, k2[3] = {0, 0, 0}, other[3] = {0, 0, 0};
  EXPECT_TRUE(lattice.blockManager->validFlag(lattice.getBlockNo(k0, 0)));
  EXPECT_FALSE(lattice.blockManager->validFlag(lattice.getBlockNo(k1, 1)));
  EXPECT_FALSE(lattice.blockManager->validFlag(lattice.getBlockNo(k2, 2)));
  EXPECT_TRUE(lattice.blockManager->validFlag(lattice.getBlockNo(other, 1)));
  EXPECT_EQ(readWholeFile(flagFile), storedBefore);

  // A level-1 read over the changed block rebuilds it once and stores the flags.
  FileFaults faults;
  const int readOrigin[3] = {16, 8, 24}, readSize[3] = {4, 4, 4}, ones[3] = {1, 1, 1};
  auto first = disk.read<uint8_t>(readOrigin, readSize, ones);
  ASSERT_FALSE(first.values.empty());
  EXPECT_EQ(first.at(0, 0, 0), 200);
  EXPECT_EQ(faults.writes().size(), 2u);  // the rebuilt level-1 block, then the valid-flag file
  EXPECT_TRUE(lattice.blockManager->validFlag(lattice.getBlockNo(k1, 1)));
  EXPECT_NE(readWholeFile(flagFile), storedBefore);
  faults.resetCounts();
  auto second = disk.read<uint8_t>(readOrigin, readSize, ones);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);
  EXPECT_EQ(faults.calls(FileFaults::READ), 1);
  EXPECT_EQ(second.values, first.values);
}

// Blocks of (32, 16, 4) give two levels; a read at (2,2,2) is served from level 1.
TEST(LatticeRead, CoarseReadUsesTheStoredLevelBelowIt) {
  const int dims[3] = {256, 64, 16};
  const int blocking[3] = {32, 16, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT16);
  ASSERT_EQ(disk.lattice->numLevels, 2);
  auto volume = ReferenceVolume<uint16_t>::generated(256, 64, 16);
  ASSERT_EQ(disk.write(volume, 16), 1);
  disk.lattice->updateAllLevels(nullptr);
  FileFaults faults;
  const int origin[3] = {64, 0, 0}, size[3] = {16, 8, 2}, levels[3] = {2, 2, 2};
  auto box = disk.read<uint16_t>(origin, size, levels);
  ASSERT_FALSE(box.values.empty());
  int k[3] = {1, 0, 0};
  const int64_t blockBytes = disk.lattice->blockBytes();
  ASSERT_EQ(faults.reads().size(), 1u);
  EXPECT_EQ(faults.reads()[0].offset, disk.lattice->getBlockNo(k, 1) * blockBytes);
  auto want = volume.reduced(2, 2, 2).reduced(2, 2, 2);
  for (int z = 0; z < 2; ++z)
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 16; ++x) ASSERT_EQ(box.at(x, y, z), want.at(16 + x, y, z));

  // Subsampling 16 would need a block of 4 slices reduced to a quarter slice.
  const int tooCoarse[3] = {4, 4, 4}, tiny[3] = {1, 1, 1};
  EXPECT_TRUE(disk.read<uint16_t>(origin, tiny, tooCoarse).values.empty());
}

// A set whose files the reader may not write: coarse reads come from level 0
// reduced in memory, and nothing on disk changes.
TEST(LatticeRead, ReadOnlySetFallsBackToLevelZeroAndStoresNothing) {
  const int dims[3] = {40, 24, 16};
  const int blocking[3] = {8, 8, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::INT16);
  auto volume = testVolume<int16_t>(40, 24, 16, 1);
  ASSERT_EQ(disk.write(volume, 16), 1);
  ASSERT_EQ(disk.lattice->blockManager->writeValids(), 1);
  const std::string data = disk.setName() + "-0000.dat", flags = disk.setName() + "-SUPR.dat";
  const std::string dataBefore = readWholeFile(data), flagsBefore = readWholeFile(flags);
  disk.lattice.reset();
  chmod(data.c_str(), 0444);
  chmod(flags.c_str(), 0444);
  const auto want = volume.reduced(2, 2, 2);

  int result = runUnprivileged([&] {
    auto lattice = disk.reopen();
    if (!lattice->blockManager) return 10;
    if (lattice->blockManager->writable) return 11;
    const int origin[3] = {0, 0, 0}, size[3] = {20, 12, 8}, ones[3] = {1, 1, 1};
    auto box = LatticeOnDisk::readFrom<int16_t>(*lattice, origin, size, ones);
    if (box.values != want.values) return 12;
    if (lattice->blockManager->putBlock(box.values.data(), 0)) return 13;
    int idx[3] = {0, 0, 0};
    if (lattice->updateBlock(idx, 1)) return 14;
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(readWholeFile(data), dataBefore);
  EXPECT_EQ(readWholeFile(flags), flagsBefore);
}

}  // namespace
