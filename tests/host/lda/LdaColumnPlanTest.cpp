// The passes a conversion plans, for shapes far too large to convert in a
// test: every pass fits the allowance whatever X, Y and Z, its columns keep
// the levels it builds on whole chunks, and the passes reach the top level.
#include "host/lda/LdaColumnPlan.h"

#include <gtest/gtest.h>

namespace {

struct Shape {
  int dims[3];
  int components;
  TbPrimType type;
  int tile;
  int omeZarrVersion = 4;
};

const Shape kShapes[] = {
    {{40000, 40000, 3000}, 1, TbPrimType::UINT16, 128},  {{16384, 16384, 64}, 1, TbPrimType::UINT16, 128},
    {{8192, 8192, 256}, 1, TbPrimType::UINT8, 128},      {{1, 1000000, 10}, 1, TbPrimType::UINT8, 64},
    {{200000, 40, 40}, 3, TbPrimType::DOUBLE, 32},       {{300, 200, 70}, 1, TbPrimType::UINT16, 32},
    {{40000, 40000, 3000}, 4, TbPrimType::FLOAT, 512},    {{40000, 40000, 3000}, 1, TbPrimType::UINT16, 128, 5},
    {{300, 200, 70}, 2, TbPrimType::UINT8, 16, 5},
};
const LdaSlabSource::SplitCost kCosts[] = {LdaSlabSource::ROWS_ANYWHERE, LdaSlabSource::WHOLE_ROWS,
                                           LdaSlabSource::WHOLE_IMAGES};

// True when an edge is the whole axis or keeps levels first..last on whole chunks.
bool aligned(const LdaLayout& layout, const LdaColumnPlan& plan, int axis) {
  const int edge = axis == 0 ? plan.width : plan.height;
  if (edge == layout.levels[plan.first].dims[axis]) return true;
  for (int level = plan.first; level <= plan.last; ++level)
    if ((edge >> (level - plan.first)) % layout.levels[level].shardEdge(axis) != 0) return false;
  return true;
}

TEST(LdaColumnPlan, EveryPassFitsAndThePassesReachTheTop) {
  for (const Shape& shape : kShapes)
    for (size_t allowance : {size_t(900) << 20, size_t(64) << 20})
      for (LdaSlabSource::SplitCost cost : kCosts) {
        const LdaLayout layout(shape.dims, shape.components, shape.type, shape.tile, shape.omeZarrVersion);
        const LdaPassNeeds needs{cost, 0, size_t(16) << 20};
        SCOPED_TRACE(std::to_string(shape.dims[0]) + " x " + std::to_string(shape.dims[1]) + ", allowance " +
                     std::to_string(allowance >> 20) + " MiB, cost " + std::to_string(cost));
        int first = 0, passes = 0;
        for (int minLast = 0;; minLast = first + 1) {
          const LdaColumnPlan plan = planColumns(layout, first, minLast, needs, allowance);
          ASSERT_GE(plan.last, minLast);
          EXPECT_TRUE(aligned(layout, plan, 0) && aligned(layout, plan, 1)) << plan.width << " x " << plan.height;
          EXPECT_EQ(plan.fits, columnBytes(layout, plan, needs) <= allowance);
          const int smallest = 2 * layout.levels[first].shardEdge(0);
          EXPECT_TRUE(plan.fits || (plan.width <= smallest && plan.height <= smallest));
          ASSERT_LT(++passes, 10);
          if (plan.last + 1 == layout.numLevels()) break;
          first = plan.last;
        }
      }
}

TEST(LdaColumnPlan, MemoryDoesNotGrowWithDepthAndAWholeVolumeThatFitsIsOneColumn) {
  const LdaPassNeeds needs{LdaSlabSource::ROWS_ANYWHERE, 0, 0};
  const int deep[3] = {8192, 8192, 4096}, deeper[3] = {8192, 8192, 65536};
  const LdaLayout a(deep, 1, TbPrimType::UINT8, 128), b(deeper, 1, TbPrimType::UINT8, 128);
  const size_t allowance = size_t(700) << 20;
  const size_t bytes = columnBytes(a, planColumns(a, 0, 0, needs, allowance), needs);
  EXPECT_LE(bytes, allowance);
  EXPECT_EQ(bytes, columnBytes(b, planColumns(b, 0, 0, needs, allowance), needs));
  const int small[3] = {1024, 1024, 512};
  const LdaLayout c(small, 1, TbPrimType::UINT16, 128);
  const LdaColumnPlan whole = planColumns(c, 0, 0, needs, allowance);
  EXPECT_EQ(whole.columns(c), 1);
  EXPECT_EQ(whole.last + 1, c.numLevels());
}

}  // namespace
