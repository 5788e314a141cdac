// Bulk and on-demand rebuilding of the coarser levels.
#include <gtest/gtest.h>

#include "support/FileFaults.h"
#include "support/LatticeOnDisk.h"
#include "support/ProgressRecorder.h"

namespace {

int blocksAboveLevelZero(LatticeManager& lattice) {
  int n = 0;
  for (int level = 1; level < lattice.numLevels; ++level) n += lattice.blocksAtLevel(level);
  return n;
}

TEST(LatticePyramid, SecondUpdateComputesNothingButStillDrivesProgress) {
  const int dims[3] = {40, 36, 20};
  const int blocking[3] = {8, 8, 4};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  auto volume = ReferenceVolume<uint8_t>::generated(40, 36, 20);
  ASSERT_EQ(disk.write(volume, 7), 1);
  const int coarse = blocksAboveLevelZero(*disk.lattice);

  FileFaults faults;
  ProgressRecorder progress;
  disk.lattice->updateAllLevels(&progress);
  int64_t written = 0;
  for (const auto& w : faults.writes()) written += w.bytes;
  EXPECT_EQ(written, int64_t(coarse) * disk.lattice->blockBytes() + disk.lattice->numBlocks / 8 + 9);
  ASSERT_EQ(static_cast<int>(progress.fractions.size()), coarse);
  EXPECT_EQ(progress.events, (std::vector<std::string>{"begin:updating subsampling levels", "end"}));
  EXPECT_LT(progress.fractions.back(), 1.0f);
  EXPECT_GT(progress.fractions.front(), disk.lattice->blocksAtLevel(0) / float(disk.lattice->numBlocks));

  faults.resetCounts();
  ProgressRecorder again;
  disk.lattice->updateAllLevels(&again);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);
  EXPECT_EQ(faults.calls(FileFaults::READ), 0);
  EXPECT_EQ(again.fractions, progress.fractions);
}

TEST(LatticePyramid, OneSampleChangedRebuildsOneBlockPerLevel) {
  const int dims[3] = {64, 64, 64};
  const int blocking[3] = {8, 8, 8};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT16);
  disk.lattice->updateAllLevels(nullptr);
  uint16_t sample = 800;
  const int at[3] = {63, 0, 17}, one[3] = {1, 1, 1};
  ASSERT_EQ(disk.lattice->putBlock(&sample, at, one, at, one), 1);
  FileFaults faults;
  disk.lattice->updateAllLevels(nullptr);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), (disk.lattice->numLevels - 1) + 1);
  // 800 averaged over 2x2x2, then again: 100 at level 1, 12.5 -> 12 (ties to even) at level 2.
  const int levels1[3] = {1, 1, 1}, levels2[3] = {2, 2, 2};
  EXPECT_EQ(disk.read<uint16_t>(at, one, levels1).values.at(0), 100);
  EXPECT_EQ(disk.read<uint16_t>(at, one, levels2).values.at(0), 12);
}

TEST(LatticePyramid, NothingToDoWithoutCoarseLevels) {
  const int dims[3] = {64, 64, 64};
  const int blocking[3] = {64, 64, 64};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  ASSERT_EQ(disk.lattice->numLevels, 1);
  disk.lattice->blockManager->validsModified = 1;
  FileFaults faults;
  ProgressRecorder progress;
  disk.lattice->updateAllLevels(&progress);
  EXPECT_EQ(progress.events, (std::vector<std::string>{"begin:updating subsampling levels", "end"}));
  EXPECT_TRUE(progress.fractions.empty());
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 1);  // the valid-flag file still goes out
}

TEST(LatticePyramid, ReadOnlySetStopsAtTheFirstOutOfDateBlock) {
  const int dims[3] = {32, 32, 32};
  const int blocking[3] = {8, 8, 8};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  disk.lattice->blockManager->writable = 0;
  FileFaults faults;
  ProgressRecorder progress;
  disk.lattice->updateAllLevels(&progress);
  EXPECT_EQ(progress.fractions.size(), 1u);
  EXPECT_EQ(progress.events.back(), "end");
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);

  // With every coarse flag set there is nothing to refuse: the walk completes.
  disk.lattice->blockManager->writable = 1;
  disk.lattice->updateAllLevels(nullptr);
  disk.lattice->blockManager->writable = 0;
  faults.resetCounts();
  ProgressRecorder complete;
  disk.lattice->updateAllLevels(&complete);
  EXPECT_EQ(static_cast<int>(complete.fractions.size()), blocksAboveLevelZero(*disk.lattice));
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);
}

// A coarse border block whose neighbourhood below lies partly beyond the
// lattice is stored whole, zeros where nothing was computed.
TEST(LatticePyramid, BorderBlocksAreStoredWholeWithZerosBeyond) {
  const int dims[3] = {19, 8, 8};
  const int blocking[3] = {8, 8, 8};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  ReferenceVolume<uint8_t> volume(19, 8, 8);
  for (auto& v : volume.values) v = 90;
  ASSERT_EQ(disk.write(volume, 8), 1);
  // Dirty the block file where the level-1 block will go, to see it overwritten.
  int idx[3] = {1, 0, 0};
  std::vector<uint8_t> junk(512, 0xff);
  disk.lattice->blockManager->putBlock(junk.data(), disk.lattice->getBlockNo(idx, 1));
  disk.lattice->blockManager->clearValidFlag(disk.lattice->getBlockNo(idx, 1));
  ASSERT_EQ(disk.lattice->updateBlock(idx, 1), 1);
  std::vector<uint8_t> stored(512);
  ASSERT_EQ(disk.lattice->blockManager->getBlock(stored.data(), disk.lattice->getBlockNo(idx, 1)), 1);
  // Level-1 block 1 covers level-0 x 16..31: 16..18 hold data, 19..23 are the
  // stored zeros of a border block, 24..31 lie in no block at all.
  EXPECT_EQ(stored[0], 90);
  EXPECT_EQ(stored[1], 45);  // level-0 x 18 (data) and 19 (beyond the lattice)
  EXPECT_EQ(stored[2], 0);
  EXPECT_EQ(stored[7], 0);
}

TEST(LatticePyramid, FailedRebuildStopsAndLeavesTheStoredFlags) {
  const int dims[3] = {32, 32, 32};
  const int blocking[3] = {8, 8, 8};
  LatticeOnDisk disk(dims, blocking, 1, TbPrimType::UINT8);
  const std::string flags = readWholeFile(disk.setName() + "-SUPR.dat");
  FileFaults faults;
  faults.failCall(FileFaults::WRITE, 2);  // level 1 is stored, level 2 is not
  ProgressRecorder progress;
  disk.lattice->updateAllLevels(&progress);
  EXPECT_EQ(progress.events.back(), "end");
  EXPECT_EQ(readWholeFile(disk.setName() + "-SUPR.dat"), flags);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 2);
  EXPECT_EQ(disk.lattice->blocksNotCurrent(1), 0);
  EXPECT_EQ(disk.lattice->blocksNotCurrent(2), 1);
  EXPECT_FALSE(disk.lattice->coarseLevelsCurrent());
}

}  // namespace
