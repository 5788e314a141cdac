// Crashes at every sync and every write of a rewrite with its level updates:
// the writes not yet synced are dropped, the set is reopened, and no coarse
// block flagged current may differ from the reduction of level 0 on disk.
#include <gtest/gtest.h>

#include <unistd.h>

#include "support/FileFaults.h"
#include "support/LatticeOnDisk.h"

namespace {

const int kDims[3] = {40, 36, 24};
const int kBlocking[3] = {8, 8, 8};  // levels 0, 1 and 2

// Makes `disk` the set whose levels were built and stored. The set is built
// once, then copied (copies need no wait for the disk).
void withStoredLevels(LatticeOnDisk& disk) {
  static const LatticeOnDisk* original = [] {
    auto* made = new LatticeOnDisk(kDims, kBlocking, 1, TbPrimType::UINT16);
    made->write(ReferenceVolume<uint16_t>::generated(40, 36, 24), 24);
    made->lattice->updateAllLevels(nullptr);
    made->lattice.reset();
    return made;
  }();
  disk.lattice.reset();
  for (const char* file : {"-0000.dat", "-SUPR.dat"})
    writeWholeFile(disk.setName() + file, readWholeFile(original->setName() + file));
  ::unlink((disk.setName() + "-INTN.dat").c_str());
  disk.lattice = disk.reopen();
}

int writeBox(LatticeManager& lattice, int ox, int oy, int oz, int n, uint16_t value) {
  std::vector<uint16_t> box(static_cast<size_t>(n) * n * n, value);
  const int origin[3] = {ox, oy, oz}, size[3] = {n, n, n};
  return lattice.putBlock(box.data(), origin, size, origin, size);
}

void readWhole(LatticeManager& lattice, int level) {
  std::vector<uint16_t> box(40 * 36 * 24);
  const int origin[3] = {0, 0, 0}, size[3] = {40 >> level, 36 >> level, 24 >> level};
  int levels[3] = {level, level, level};
  lattice.getBlock(box.data(), origin, size, origin, size, levels);
}

// Rewrites, a level update, a full-resolution read that stores cleared flags
// without rebuilding, and a coarse read that rebuilds and stores what it needs.
void rewriteAndUpdate(LatticeManager& lattice) {
  writeBox(lattice, 3, 5, 2, 12, 900);
  writeBox(lattice, 20, 20, 10, 14, 60000);
  lattice.updateAllLevels(nullptr);
  writeBox(lattice, 30, 2, 15, 9, 7);
  readWhole(lattice, 0);
  writeBox(lattice, 0, 17, 0, 10, 4000);
  readWhole(lattice, 1);
}

TEST(CrashSafety, NoStaleCoarseBlockAfterACrashAtAnySyncOrWrite) {
  int total[FileFaults::NUM_OPS];
  {
    LatticeOnDisk disk(kDims, kBlocking, 1, TbPrimType::UINT16);
    withStoredLevels(disk);
    FileFaults faults;
    rewriteAndUpdate(*disk.lattice);
    for (int op = 0; op < FileFaults::NUM_OPS; ++op) total[op] = faults.calls(FileFaults::Op(op));
  }
  LatticeOnDisk disk(kDims, kBlocking, 1, TbPrimType::UINT16);
  for (FileFaults::Loss loss : {FileFaults::LOSE_ALL, FileFaults::LOSE_NONE, FileFaults::LOSE_EVEN, FileFaults::LOSE_ODD})
    for (FileFaults::Op op : {FileFaults::SYNC, FileFaults::WRITE})
      for (int n = 1; n <= total[op] + 1; ++n) {  // the last: a crash once everything ran
        withStoredLevels(disk);
        {
          FileFaults faults(TbFileIO::folderOf(disk.setName()));
          faults.crashAt(op, n, loss);
          rewriteAndUpdate(*disk.lattice);
          faults.crashNow(loss);
          disk.lattice.reset();
        }
        FileFaults noWaits;
        auto again = disk.reopen();
        ASSERT_TRUE(again->blockManager) << op << " " << n;
        EXPECT_EQ(LatticeOnDisk::staleCoarseBlocks<uint16_t>(*again), 0)
            << "crash at call " << n << " of " << op << ", loss " << loss;
      }
}

TEST(CrashSafety, ANewSetPaysNothingUntilItsFlagsAreStored) {
  LatticeOnDisk disk(kDims, kBlocking, 1, TbPrimType::UINT16);
  const std::string record = disk.setName() + "-INTN.dat";
  FileFaults faults;
  ASSERT_EQ(disk.write(ReferenceVolume<uint16_t>::generated(40, 36, 24), 5), 1);
  EXPECT_EQ(faults.calls(FileFaults::SYNC), 0);
  disk.lattice->updateAllLevels(nullptr);
  EXPECT_EQ(faults.calls(FileFaults::SYNC), 2);  // the one block data file before the flags, then the flags
  EXPECT_FALSE(fileExists(record));
  // Flags are on disk now: a rewrite names its coarse blocks first, until they are stored again.
  ASSERT_EQ(writeBox(*disk.lattice, 0, 0, 0, 4, 1), 1);
  EXPECT_TRUE(fileExists(record));
  disk.lattice->updateAllLevels(nullptr);
  EXPECT_FALSE(fileExists(record));
}

std::string littleEndianInts(std::initializer_list<int32_t> values) {
  std::string bytes;
  for (int32_t v : values)
    for (int b = 0; b < 4; ++b) bytes += static_cast<char>((static_cast<uint32_t>(v) >> (8 * b)) & 0xff);
  return bytes;
}

// Level 0 is 5 x 5 x 3 blocks, level 1 3 x 3 x 2, level 2 2 x 2 x 1.
TEST(CrashSafety, AnIntentRecordLeftBehindIsAppliedOnOpen) {
  const struct {
    const char* what;
    std::string record;
    int outOfDate1, outOfDate2;
  } cases[] = {
      {"one entry and a partial one", "BLCKINT1" + littleEndianInts({0, 2, 2, 3, 0, 0, 4, 4}), 2, 1},
      {"no entries", "BLCKINT1", 0, 0},
      {"out of range", "BLCKINT1" + littleEndianInts({4, 99, -5, 0, 2, 2}), 1, 1},
      {"no magic", "BLCKINTX" + littleEndianInts({0, 0, 0, 0, 0, 0}), 18, 4},
      {"too short for the magic", "BLCK", 18, 4},
  };
  LatticeOnDisk disk(kDims, kBlocking, 1, TbPrimType::UINT16);
  for (const auto& c : cases) {
    withStoredLevels(disk);
    disk.lattice.reset();
    writeWholeFile(disk.setName() + "-INTN.dat", c.record);
    auto again = disk.reopen();
    EXPECT_EQ(again->blocksNotCurrent(1), c.outOfDate1) << c.what;
    EXPECT_EQ(again->blocksNotCurrent(2), c.outOfDate2) << c.what;
    EXPECT_FALSE(fileExists(disk.setName() + "-INTN.dat")) << c.what;
    again.reset();
    EXPECT_EQ(disk.reopen()->blocksNotCurrent(1), c.outOfDate1) << c.what << ": the flags were stored";
  }
}

}  // namespace
