// Level counts, block counts and global block numbers for lattice shapes that
// stop the pyramid in each of its ways.
#include <gtest/gtest.h>

#include "blockstore/LatticeManager.h"

namespace {

struct Shape {
  int dims[3];
  int blocking[3];
  int numLevels;
  int numBlocks;
};

TEST(LatticeNumbering, LevelAndBlockCounts) {
  const Shape shapes[] = {
      {{512, 512, 512}, {64, 64, 64}, 4, 586},
      {{1024, 1024, 1024}, {64, 64, 64}, 5, 4682},
      {{1000, 700, 300}, {32, 16, 4}, 2, 120648},  // stopped by z: 4 halved twice
      {{100, 100, 1}, {64, 64, 64}, 2, 6},         // one block along z at every level
      {{64, 64, 64}, {64, 64, 64}, 1, 2},
      {{256, 256, 256}, {64, 64, 1}, 0, 4096},     // a block one sample thick: level 0 only
      {{1, 1, 1}, {64, 64, 64}, 0, 1},
  };
  for (const Shape& s : shapes) {
    LatticeManager lattice(s.dims, s.blocking, 1, TbPrimType::UINT8);
    EXPECT_EQ(lattice.numLevels, s.numLevels) << s.dims[0] << "x" << s.dims[1] << "x" << s.dims[2];
    EXPECT_EQ(lattice.numBlocks, s.numBlocks) << s.dims[0] << "x" << s.dims[1] << "x" << s.dims[2];
  }
}

TEST(LatticeNumbering, PartialBlocksAtTheBorderAreCounted) {
  const int dims[3] = {1000, 700, 300};
  const int blocking[3] = {32, 16, 4};
  LatticeManager lattice(dims, blocking, 1, TbPrimType::UINT16);
  const int expected[3][3] = {{32, 44, 75}, {16, 22, 38}, {8, 11, 19}};
  for (int level = 0; level < 3; ++level)
    for (int a = 0; a < 3; ++a) EXPECT_EQ(lattice.blocksAlong(a, level), expected[level][a]);
}

TEST(LatticeNumbering, GlobalNumbersRunLevelByLevelXFastest) {
  const int dims[3] = {512, 512, 512};
  const int blocking[3] = {64, 64, 64};
  LatticeManager lattice(dims, blocking, 1, TbPrimType::UINT8);
  int a[3] = {1, 2, 3}, b[3] = {1, 1, 1}, c[3] = {0, 0, 0}, last[3] = {7, 7, 7};
  EXPECT_EQ(lattice.getBlockNo(a, 0), 209);
  EXPECT_EQ(lattice.getBlockNo(b, 1), 533);
  EXPECT_EQ(lattice.getBlockNo(c, 2), 576);
  EXPECT_EQ(lattice.getBlockNo(last, 0), 511);
  EXPECT_EQ(lattice.getBlockNo(c, 4), 585);  // the reserved level numLevels
  EXPECT_EQ(lattice.getBlockNo(a, -1), 1);
}

}  // namespace
