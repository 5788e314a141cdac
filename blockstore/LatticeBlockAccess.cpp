// Transfers between a caller's sample buffer and the stored blocks.
#include <cstdint>
#include <cstring>

#include "blockstore/BlockWalk.h"
#include "blockstore/LatticeManager.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbMemory.h"
#include "host/rawdata/TbRawData.h"

namespace {
TbAssertionHandlerInit assertionHandler;

// A box and the buffer that holds it, at the resolution of one transfer.
struct BoxInBuffer {
  int origin[3];
  int size[3];
  int bufferOrigin[3];
  int bufferSize[3];
};

bool fitsBuffer(const BoxInBuffer& box) {
  for (int a = 0; a < 3; ++a) {
    if (box.origin[a] < 0 || box.bufferOrigin[a] < 0 || box.size[a] < 0) return false;
    if (box.origin[a] < box.bufferOrigin[a]) return false;
    if (static_cast<int64_t>(box.origin[a]) + box.size[a] >
        static_cast<int64_t>(box.bufferOrigin[a]) + box.bufferSize[a])
      return false;
  }
  return true;
}

// Sample index in the caller's buffer of the first sample of the run (y, z) of a block's share.
int64_t bufferSampleIndex(const BoxInBuffer& box, const BlockOverlap* share, int y, int z) {
  const int64_t bz = box.origin[2] + share[2].boxOffset - box.bufferOrigin[2] + z;
  const int64_t by = box.origin[1] + share[1].boxOffset - box.bufferOrigin[1] + y;
  const int64_t bx = box.origin[0] + share[0].boxOffset - box.bufferOrigin[0];
  return (bz * box.bufferSize[1] + by) * box.bufferSize[0] + bx;
}

int64_t blockSampleIndex(const int* extent, const BlockOverlap* share, int y, int z) {
  return (static_cast<int64_t>(share[2].blockOffset + z) * extent[1] + share[1].blockOffset + y) *
             extent[0] +
         share[0].blockOffset;
}

enum Direction { INTO_BLOCK, INTO_BUFFER };

// Moves a block's share of the box as whole rows, one memcpy per row.
void copyRuns(Direction direction, unsigned char* block, const int* extent, unsigned char* buffer,
              const BoxInBuffer& box, const BlockOverlap* share, int sampleBytes) {
  const size_t runBytes = static_cast<size_t>(share[0].count) * sampleBytes;
  for (int z = 0; z < share[2].count; ++z) {
    for (int y = 0; y < share[1].count; ++y) {
      unsigned char* inBlock = block + blockSampleIndex(extent, share, y, z) * sampleBytes;
      unsigned char* inBuffer = buffer + bufferSampleIndex(box, share, y, z) * sampleBytes;
      if (direction == INTO_BLOCK)
        std::memcpy(inBlock, inBuffer, runBytes);
      else
        std::memcpy(inBuffer, inBlock, runBytes);
    }
  }
}

// Frees the scratch blocks of one read on every way out.
struct ScratchBlocks {
  unsigned char* block = nullptr;
  unsigned char* reduced = nullptr;
  ~ScratchBlocks() {
    if (reduced != block) tbfree(reduced);
    tbfree(block);
  }
};

}  // namespace

int LatticeManager::putBlock(void* data, const int* origin, const int* size, const int* bufferOrigin,
                             const int* bufferSize) {
  for (int a = 0; a < 3; ++a)
    if (static_cast<int64_t>(origin[a]) + size[a] > dims[a]) return 0;
  BoxInBuffer box;
  for (int a = 0; a < 3; ++a) {
    box.origin[a] = origin[a];
    box.size[a] = size[a];
    box.bufferOrigin[a] = bufferOrigin[a];
    box.bufferSize[a] = bufferSize[a];
  }
  if (!fitsBuffer(box) || !blockManager || !blockManager->writable) return 0;
  if (!buffer.resize(blockBytes())) return 0;

  const BlockSpan span[3] = {blocksCovering(origin[0], size[0], blocking[0]),
                             blocksCovering(origin[1], size[1], blocking[1]),
                             blocksCovering(origin[2], size[2], blocking[2])};
  int k[3];
  for (k[2] = span[2].first; k[2] <= span[2].last; ++k[2]) {
    for (k[1] = span[1].first; k[1] <= span[1].last; ++k[1]) {
      for (k[0] = span[0].first; k[0] <= span[0].last; ++k[0]) {
        const int blockNo = getBlockNo(k, 0);
        BlockOverlap share[3];
        bool whole = true;
        for (int a = 0; a < 3; ++a) {
          share[a] = overlapOf(k[a], origin[a], size[a], blocking[a]);
          if (share[a].count != blocking[a]) whole = false;
        }
        // A block the box covers only in part keeps the rest of its samples.
        if (!whole && !blockManager->getBlock(buffer.dataPtr(), blockNo)) return 0;
        copyRuns(INTO_BLOCK, buffer.dataPtr(), blocking, static_cast<unsigned char*>(data), box,
                 share, sampleBytes());
        if (!blockManager->putBlock(buffer.dataPtr(), blockNo)) return 0;
        markCoarserOutOfDate(k);
      }
    }
  }
  return 1;
}

void LatticeManager::markCoarserOutOfDate(const int* idx) {
  for (int level = 1; level < numLevels; ++level) {
    int covering[3] = {idx[0] >> level, idx[1] >> level, idx[2] >> level};
    blockManager->clearValidFlag(getBlockNo(covering, level));
  }
}

int LatticeManager::getBlock(void* data, const int* origin, const int* size, const int* bufferOrigin,
                             const int* bufferSize, int* levels) {
  int base = numLevels - 1;
  for (int a = 0; a < 3; ++a) {
    if (levels[a] < 0) return 0;
    if (levels[a] < base) base = levels[a];
  }
  if (base < 0) base = 0;  // a lattice without coarse levels serves everything from level 0
  if (!getBlockFromBaseLevel(data, origin, size, bufferOrigin, bufferSize, levels, base) &&
      (base == 0 ||
       !getBlockFromBaseLevel(data, origin, size, bufferOrigin, bufferSize, levels, 0)))
    return 0;
  blockManager->writeValids();
  return 1;
}

int LatticeManager::getBlockFromBaseLevel(void* data, const int* origin, const int* size,
                                          const int* bufferOrigin, const int* bufferSize,
                                          int* levels, int baseLevel) {
  if (!blockManager || baseLevel < 0) return 0;
  int factor[3];
  int reducedExtent[3];
  bool reduce = false;
  BoxInBuffer box;
  for (int a = 0; a < 3; ++a) {
    const int shift = levels[a] - baseLevel;
    if (shift < 0 || origin[a] < 0 || bufferOrigin[a] < 0) return 0;
    factor[a] = 1 << shift;
    reducedExtent[a] = blocking[a] >> shift;
    if (reducedExtent[a] == 0) return 0;
    if (shift) reduce = true;
    box.origin[a] = origin[a] >> levels[a];
    box.bufferOrigin[a] = bufferOrigin[a] >> levels[a];
    box.size[a] = size[a];
    box.bufferSize[a] = bufferSize[a];
  }
  if (!fitsBuffer(box)) return 0;

  ScratchBlocks scratch;
  scratch.block = static_cast<unsigned char*>(tbmalloc(static_cast<size_t>(blockBytes())));
  scratch.reduced = reduce ? static_cast<unsigned char*>(tbmalloc(
                                 static_cast<size_t>(reducedExtent[0]) * reducedExtent[1] *
                                 reducedExtent[2] * sampleBytes()))
                           : scratch.block;
  if (!scratch.block || !scratch.reduced) return 0;

  const BlockSpan span[3] = {blocksCovering(box.origin[0], size[0], reducedExtent[0]),
                             blocksCovering(box.origin[1], size[1], reducedExtent[1]),
                             blocksCovering(box.origin[2], size[2], reducedExtent[2])};
  // A base-level block whose first level-0 sample lies beyond the lattice holds nothing to read.
  auto beyondLattice = [&](int axis, int k) {
    return (static_cast<int64_t>(blocking[axis]) << baseLevel) * k >= dims[axis];
  };
  int k[3];
  for (k[2] = span[2].first; k[2] <= span[2].last; ++k[2]) {
    if (beyondLattice(2, k[2])) continue;
    for (k[1] = span[1].first; k[1] <= span[1].last; ++k[1]) {
      if (beyondLattice(1, k[1])) continue;
      for (k[0] = span[0].first; k[0] <= span[0].last; ++k[0]) {
        if (beyondLattice(0, k[0])) continue;
        BlockOverlap share[3];
        for (int a = 0; a < 3; ++a)
          share[a] = overlapOf(k[a], box.origin[a], size[a], reducedExtent[a]);
        const int blockNo = getBlockNo(k, baseLevel);
        if (baseLevel != 0 && !blockManager->validFlag(blockNo) && !updateBlock(k, baseLevel))
          return 0;
        if (!blockManager->getBlock(scratch.block, blockNo)) return 0;
        if (reduce)
          TbRawData::downSample3DN(scratch.reduced, TbTypedPointer(scratch.block, primType),
                                   blocking[0], blocking[1], blocking[2], factor[0], factor[1],
                                   factor[2], nDataVar, nullptr);
        copyRuns(INTO_BUFFER, scratch.reduced, reducedExtent, static_cast<unsigned char*>(data),
                 box, share, sampleBytes());
      }
    }
  }
  return 1;
}
