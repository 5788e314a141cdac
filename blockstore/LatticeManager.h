#pragma once
// LatticeManager: a 3-D uniform lattice cut into blocks, with a pyramid of
// coarser levels, stored in one block file set.
//
// Level L holds the lattice reduced by 2^L on every axis; a level-L block of
// bx*by*bz samples covers bx*2^L x by*2^L x bz*2^L level-0 samples. Blocks of all
// levels share one numbering: level 0 first, then level 1, ..., x fastest within
// a level. Levels 0 to numLevels-1 are in use; numBlocks also reserves the
// blocks of level numLevels.
//
// Origins are level-0 sample coordinates; sizes count samples at the level of
// the transfer. Buffers hold samples x fastest, then y, then z, nDataVar
// components per sample, in the machine's byte order.
//
// Contract on failure: every operation returns 1 or 0 and prints nothing.
// putBlock may leave the blocks before a failure written (their coarser blocks
// marked out of date); a block whose write failed is never flagged current.
// Before a write changes level-0 blocks under coarse blocks that the valid-flag
// file on disk flags current, the intent record names them (and the write is
// refused when the record cannot be stored), so no crash can leave a stale
// coarse block flagged current. updateAllLevels stops at the first failure;
// coarseLevelsCurrent() then says so. getBlock falls back to reducing level 0 in memory when a
// coarse level cannot be served (read-only sets), and returns 0 only when that
// fails too; the caller's buffer may then hold part of the box. A set that is
// not writable is never changed. Negative origins and boxes that do not fit the
// caller's buffer are refused with 0.
#include <cstdint>
#include <vector>

#include "blockstore/BlockManager.h"
#include "host/base/TbDArray.h"
#include "host/base/TbPrimType.h"
#include "host/base/TbProgressInterface.h"
#include "package/PackageExport.h"

class UXDD_API LatticeManager {
 public:
  // What a shape read from a file or given by a caller can be: usable, a value
  // no lattice has (negative dims, blocks below one sample, an unknown type), or
  // beyond what a set can hold (a block over 1 GiB, more than 2^31 - 1 blocks
  // over all levels, more than 10000 block data files). Computed in 64 bits.
  enum Shape { SHAPE_OK, SHAPE_IMPOSSIBLE, SHAPE_TOO_LARGE };
  static Shape checkShape(const int* dims, const int* blocking, int nDataVar, int primType);

  LatticeManager(const int* dims, const int* blocking, int nDataVar, TbPrimType primType);
  ~LatticeManager();
  LatticeManager(const LatticeManager&) = delete;
  LatticeManager& operator=(const LatticeManager&) = delete;

  void calcNumBlocks();
  int getBlockNo(int* idx, int level);
  void setBlockManager(BlockManager* manager);
  void clear();

  // Writes a box of level-0 samples; every level-0 block it touches is rewritten.
  int putBlock(void* data, const int* origin, const int* size, const int* bufferOrigin,
               const int* bufferSize);
  // Reads a box at the per-axis levels (log2 of the subsampling).
  int getBlock(void* data, const int* origin, const int* size, const int* bufferOrigin,
               const int* bufferSize, int* levels);
  int getBlockFromBaseLevel(void* data, const int* origin, const int* size, const int* bufferOrigin,
                            const int* bufferSize, int* levels, int baseLevel);

  // Rebuilds block idx of level (> 0) from the level below and stores it.
  int updateBlock(int* idx, int level);
  void updateAllLevels(TbProgressInterface* progress);
  // As updateAllLevels, for the coarse blocks over the first `slices` level-0
  // slices only (an interrupted conversion): the others stay as they are, and
  // a read rebuilds them when it needs them.
  void updateLevelsOver(int slices, TbProgressInterface* progress);

  // Blocks of `level` whose flag is clear: for level 0 the blocks never
  // written (or whose last write failed), above it the blocks out of date.
  int blocksNotCurrent(int level) const;
  bool coarseLevelsCurrent() const { return coarseLevelsCurrentOver(dims[2]); }
  // Whether every coarse block over the first `slices` level-0 slices is current.
  bool coarseLevelsCurrentOver(int slices) const;
  // Level-L block layers along z whose first level-0 slice lies below `slices`.
  int layersOver(int slices, int level) const;
  // Clears the flags of the blocks of levels 1 .. numLevels-1 over level-0 block idx.
  void markCoarserOutOfDate(const int* idx);

  // Blocks of level `level` along `axis` (dims rounded up to whole blocks).
  int blocksAlong(int axis, int level) const;
  int blocksAtLevel(int level) const;
  int firstBlockOfLevel(int level) const;
  // Scratch space of at least `bytes` for runs of blocks on their way to or
  // from the files, kept for reuse; null when it cannot be had. Runs are cut
  // so that it stays within kStagingBytes (or one block, if larger): small
  // enough that the blocks just built are still in the processor's cache when
  // the kernel copies them, large enough that calls stay few.
  static const int kStagingBytes = 2 << 20;
  unsigned char* stagingFor(int64_t bytes);

  int blockBytes() const { return blocking[0] * blocking[1] * blocking[2] * sampleBytes(); }
  int sampleBytes() const { return nDataVar * primType.size(); }

  BlockManager* blockManager;
  TbPrimType primType;
  int nDataVar;
  int blocking[3];
  int dims[3];
  int numBlocks;
  int numLevels;

 private:
  int updateLevelBlockByBlock(int level, int layers, TbProgressInterface* progress);
  int recordIntentFor(const int* first, const int* last);
  void applyIntentRecord();
  void markAllCoarseOutOfDate(bool forgetOnDisk);
  void markCoarseOutOfDate(const int* first, const int* last, bool forgetOnDisk);

  std::vector<int> levelOffsets;  // first block number of each level, 0 .. numLevels + 1
  TbDArray<unsigned char> staging;
};
