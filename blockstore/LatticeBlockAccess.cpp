// Transfers between a caller's sample buffer and the stored blocks.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

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

// Rows of a block's share, `bytes` long (0: runBytes, known only at run time),
// one after another in both buffers' strides. A length fixed at compile time
// lets the copy be a few vector moves instead of a call.
template <size_t Bytes>
void copyRows(unsigned char* to, int64_t toStride, const unsigned char* from, int64_t fromStride, int rows,
              size_t runBytes) {
  for (int r = 0; r < rows; ++r) std::memcpy(to + r * toStride, from + r * fromStride, Bytes ? Bytes : runBytes);
}

// Moves a block's share of the box as whole rows, one copy per row.
void copyRuns(Direction direction, unsigned char* block, const int* extent, unsigned char* buffer,
              const BoxInBuffer& box, const BlockOverlap* share, int sampleBytes) {
  const size_t runBytes = static_cast<size_t>(share[0].count) * sampleBytes;
  const int64_t blockRow = static_cast<int64_t>(extent[0]) * sampleBytes;
  const int64_t bufferRow = static_cast<int64_t>(box.bufferSize[0]) * sampleBytes;
  auto copy = runBytes == 32 ? copyRows<32> : runBytes == 64 ? copyRows<64> : runBytes == 128 ? copyRows<128> : copyRows<0>;
  for (int z = 0; z < share[2].count; ++z) {
    unsigned char* inBlock = block + blockSampleIndex(extent, share, 0, z) * sampleBytes;
    unsigned char* inBuffer = buffer + bufferSampleIndex(box, share, 0, z) * sampleBytes;
    if (direction == INTO_BLOCK)
      copy(inBlock, blockRow, inBuffer, bufferRow, share[1].count, runBytes);
    else
      copy(inBuffer, bufferRow, inBlock, blockRow, share[1].count, runBytes);
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

// Level-0 blocks with consecutive numbers, in one block data file, built in
// the staging space and written with one call.
struct BlockRun {
  int firstNo = 0;
  std::vector<std::array<int, 3>> blocks;  // their indices, in number order
};

// The box's share of every block of the run goes into the staging space; blocks
// the box covers only in part are read first (one call per stretch of them).
int writeRun(LatticeManager& lattice, const BlockRun& run, const BoxInBuffer& box, void* data) {
  const int count = static_cast<int>(run.blocks.size());
  const int64_t blockBytes = lattice.blockBytes();
  unsigned char* staging = lattice.stagingFor(count * blockBytes);
  if (!staging) return 0;
  std::vector<std::array<BlockOverlap, 3>> shares(static_cast<size_t>(count));
  std::vector<bool> whole(static_cast<size_t>(count), true);
  for (int i = 0; i < count; ++i)
    for (int a = 0; a < 3; ++a) {
      shares[i][a] = overlapOf(run.blocks[i][a], box.origin[a], box.size[a], lattice.blocking[a]);
      if (shares[i][a].count != lattice.blocking[a]) whole[i] = false;
    }
  for (int i = 0; i < count;) {
    int end = i;
    while (end < count && !whole[end]) ++end;
    if (end > i && !lattice.blockManager->getBlocks(staging + i * blockBytes, run.firstNo + i, end - i)) return 0;
    i = end + 1;
  }
  for (int i = 0; i < count; ++i) {
    copyRuns(INTO_BLOCK, staging + i * blockBytes, lattice.blocking, static_cast<unsigned char*>(data), box,
             shares[i].data(), lattice.sampleBytes());
    lattice.markCoarserOutOfDate(run.blocks[i].data());
  }
  return lattice.blockManager->putBlocks(staging, run.firstNo, count);
}

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

  const BlockSpan span[3] = {blocksCovering(origin[0], size[0], blocking[0]),
                             blocksCovering(origin[1], size[1], blocking[1]),
                             blocksCovering(origin[2], size[2], blocking[2])};
  for (int a = 0; a < 3; ++a)
    if (span[a].first > span[a].last) return 1;
  const int first[3] = {span[0].first, span[1].first, span[2].first};
  const int last[3] = {span[0].last, span[1].last, span[2].last};
  if (!recordIntentFor(first, last)) return 0;

  const int perRun = static_cast<int>(std::max<int64_t>(1, kStagingBytes / blockBytes()));
  const int perFile = blockManager->blocksPerFile();
  BlockRun run;
  int k[3];
  for (k[2] = span[2].first; k[2] <= span[2].last; ++k[2]) {
    for (k[1] = span[1].first; k[1] <= span[1].last; ++k[1]) {
      for (k[0] = span[0].first; k[0] <= span[0].last; ++k[0]) {
        const int blockNo = getBlockNo(k, 0);
        const int runSize = static_cast<int>(run.blocks.size());
        const bool continues = runSize > 0 && blockNo == run.firstNo + runSize && runSize < perRun &&
                               blockNo % perFile != 0;
        if (runSize > 0 && !continues) {
          if (!writeRun(*this, run, box, data)) return 0;
          run.blocks.clear();
        }
        if (run.blocks.empty()) run.firstNo = blockNo;
        run.blocks.push_back({k[0], k[1], k[2]});
      }
    }
  }
  return writeRun(*this, run, box, data);
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
