#pragma once
// The walk of a box over the blocks that cover it, one axis at a time.
//
// With block extent B, box origin o and box size s (all at the resolution of
// the transfer), the box touches blocks o/B to (o-1+s)/B. Division truncates
// toward zero, so an empty box at origin 0 still visits block 0 with a count of
// 0, which the callers rely on behaving as a no-op copy. Sums are formed in 64
// bits, so a box reaching past 2^31 samples walks correctly.
#include <cstdint>

struct BlockSpan {
  int first;
  int last;
};

inline BlockSpan blocksCovering(int origin, int size, int extent) {
  return {origin / extent, static_cast<int>((int64_t(origin) - 1 + size) / extent)};
}

// How block k shares samples with the box along one axis.
struct BlockOverlap {
  int blockOffset;  // first shared sample, counted in the block
  int boxOffset;    // the same sample, counted in the box
  int count;        // shared samples
};

inline BlockOverlap overlapOf(int k, int origin, int size, int extent) {
  const int64_t start = int64_t(extent) * k - origin;
  if (start < 0) {
    const int64_t count = extent + start;
    return {static_cast<int>(-start), 0, static_cast<int>(count > size ? size : count)};
  }
  const int64_t rest = size - start;
  return {0, static_cast<int>(start), static_cast<int>(extent < rest ? extent : rest)};
}
