#pragma once
// How many slices a converter reads and stores at once: up to 64, and at most
// 256 MiB, but never less than one slice however large a slice is.
#include <cstdint>

inline int chunkSlices(int64_t sliceBytes) {
  const int64_t limit = 268435456;
  int slices = 64;
  while (slices > 1 && slices * sliceBytes > limit) slices /= 2;
  return slices < 1 ? 1 : slices;
}
