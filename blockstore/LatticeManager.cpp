#include "blockstore/LatticeManager.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int64_t kLargestBlockBytes = int64_t(1) << 30;
// Counts beyond every limit stop growing here, so no product overflows.
const int64_t kCountCap = int64_t(1) << 40;

int64_t cappedProduct(int64_t a, int64_t b) {
  if (a == 0 || b == 0) return 0;
  return a > kCountCap / b ? kCountCap : a * b;
}

int64_t blocksAlongAxis(int64_t dim, int64_t blocking, int level) {
  const int64_t span = blocking << level;
  return (dim - 1 + span) / span;
}

// Levels go on until one block spans at least twice the lattice on every axis,
// or until a block halved once more would be one sample thick on some axis.
// Sizes are at most 2^31 and a level at most 31 here, so nothing overflows.
struct LevelPlan {
  int numLevels = 0;
  int64_t numBlocks = 0;  // over levels 0 .. numLevels, capped at kCountCap
};

LevelPlan planLevels(const int64_t* dims, const int64_t* blocking) {
  LevelPlan plan;
  for (int level = 0;; ++level) {
    int64_t blocks = 1;
    bool spansAll = true, tooThin = false;
    for (int a = 0; a < 3; ++a) {
      blocks = cappedProduct(blocks, blocksAlongAxis(dims[a], blocking[a], level));
      if ((blocking[a] << level) < 2 * dims[a]) spansAll = false;
      if ((blocking[a] >> level) <= 1) tooThin = true;
    }
    plan.numBlocks = std::min(kCountCap, plan.numBlocks + blocks);
    if (spansAll || tooThin) {
      plan.numLevels = level;
      return plan;
    }
  }
}

void widen(const int* in, int64_t* out) {
  for (int a = 0; a < 3; ++a) out[a] = in[a];
}
}  // namespace

LatticeManager::Shape LatticeManager::checkShape(const int* dims, const int* blocking, int nDataVar,
                                                 int primType) {
  for (int a = 0; a < 3; ++a)
    if (dims[a] < 0 || blocking[a] < 1) return SHAPE_IMPOSSIBLE;
  if (nDataVar < 1 || !TbPrimType(primType).isValid()) return SHAPE_IMPOSSIBLE;
  int64_t blockBytes = TbPrimType(primType).size();
  for (int64_t factor : {int64_t(blocking[0]), int64_t(blocking[1]), int64_t(blocking[2]), int64_t(nDataVar)})
    blockBytes = cappedProduct(blockBytes, factor);
  if (blockBytes > kLargestBlockBytes) return SHAPE_TOO_LARGE;
  int64_t wideDims[3], wideBlocking[3];
  widen(dims, wideDims);
  widen(blocking, wideBlocking);
  const int64_t numBlocks = planLevels(wideDims, wideBlocking).numBlocks;
  if (numBlocks > INT_MAX) return SHAPE_TOO_LARGE;
  return BlockManager::isSupportedGeometry(static_cast<int>(blockBytes), static_cast<int>(numBlocks), 0)
             ? SHAPE_OK
             : SHAPE_TOO_LARGE;
}

LatticeManager::LatticeManager(const int* dims_, const int* blocking_, int nDataVar_,
                               TbPrimType primType_)
    : blockManager(nullptr), primType(primType_), nDataVar(nDataVar_), numBlocks(0), numLevels(0) {
  for (int a = 0; a < 3; ++a) {
    dims[a] = dims_[a];
    blocking[a] = blocking_[a];
  }
  calcNumBlocks();
}

LatticeManager::~LatticeManager() { delete blockManager; }

int LatticeManager::blocksAlong(int axis, int level) const {
  return static_cast<int>(blocksAlongAxis(dims[axis], blocking[axis], level));
}

int LatticeManager::blocksAtLevel(int level) const {
  return blocksAlong(0, level) * blocksAlong(1, level) * blocksAlong(2, level);
}

void LatticeManager::calcNumBlocks() {
  int64_t wideDims[3], wideBlocking[3];
  widen(dims, wideDims);
  widen(blocking, wideBlocking);
  const LevelPlan plan = planLevels(wideDims, wideBlocking);
  numLevels = plan.numLevels;
  numBlocks = static_cast<int>(std::min<int64_t>(plan.numBlocks, INT_MAX));
  levelOffsets.assign(1, 0);
  for (int level = 0; level <= numLevels && plan.numBlocks <= INT_MAX; ++level)
    levelOffsets.push_back(levelOffsets.back() + blocksAtLevel(level));
}

int LatticeManager::firstBlockOfLevel(int level) const {
  if (level < static_cast<int>(levelOffsets.size())) return levelOffsets[level];
  int offset = 0;
  for (int l = 0; l < level; ++l) offset += blocksAtLevel(l);
  return offset;
}

int LatticeManager::getBlockNo(int* idx, int level) {
  if (level < 0) return idx[0];
  return firstBlockOfLevel(level) + idx[0] + (blocksAlong(1, level) * idx[2] + idx[1]) * blocksAlong(0, level);
}

void LatticeManager::setBlockManager(BlockManager* manager) {
  blockManager = manager;
  if (manager && manager->intentFound != IntentRecord::ABSENT) applyIntentRecord();
}

// A record left by a session that ended before its flags were stored: the
// coarse blocks it names are out of date whatever the valid-flag file says.
// A writable set stores the corrected flags at once, which removes the record.
void LatticeManager::applyIntentRecord() {
  if (blockManager->intentFound == IntentRecord::UNREADABLE) {
    markAllCoarseOutOfDate(true);
  } else {
    for (const IntentEntry& entry : blockManager->intentEntries) markCoarseOutOfDate(entry.first, entry.last, true);
  }
  blockManager->validsModified = 1;
  if (blockManager->writable) blockManager->writeValids();
}

void LatticeManager::markAllCoarseOutOfDate(bool forgetOnDisk) {
  const int first[3] = {0, 0, 0};
  const int last[3] = {blocksAlong(0, 0) - 1, blocksAlong(1, 0) - 1, blocksAlong(2, 0) - 1};
  markCoarseOutOfDate(first, last, forgetOnDisk);
}

// Clears the flags of the coarse blocks over the level-0 blocks first..last
// (inclusive, clamped to the lattice); forgetOnDisk also drops them from the
// flags a reopen would trust.
void LatticeManager::markCoarseOutOfDate(const int* first, const int* last, bool forgetOnDisk) {
  for (int level = 1; level < numLevels; ++level) {
    int from[3], to[3];
    for (int a = 0; a < 3; ++a) {
      from[a] = std::max(first[a], 0) >> level;
      to[a] = std::min(last[a], blocksAlong(a, 0) - 1) >> level;
    }
    int k[3];
    for (k[2] = from[2]; k[2] <= to[2]; ++k[2])
      for (k[1] = from[1]; k[1] <= to[1]; ++k[1])
        for (k[0] = from[0]; k[0] <= to[0]; ++k[0]) {
          const int b = getBlockNo(k, level);
          blockManager->clearValidFlag(b);
          if (forgetOnDisk) blockManager->forgetFlagOnDisk(b);
        }
  }
}

// Before level-0 blocks first..last change, coarse blocks above them that the
// valid-flag file on disk flags current must be named in the intent record.
int LatticeManager::recordIntentFor(const int* first, const int* last) {
  bool flaggedOnDisk = false;
  for (int level = 1; level < numLevels && !flaggedOnDisk; ++level) {
    int k[3];
    for (k[2] = first[2] >> level; k[2] <= last[2] >> level && !flaggedOnDisk; ++k[2])
      for (k[1] = first[1] >> level; k[1] <= last[1] >> level && !flaggedOnDisk; ++k[1])
        for (k[0] = first[0] >> level; k[0] <= last[0] >> level && !flaggedOnDisk; ++k[0])
          flaggedOnDisk = blockManager->flaggedOnDisk(getBlockNo(k, level));
  }
  if (!flaggedOnDisk) return 1;
  const IntentEntry entry = {{first[0], first[1], first[2]}, {last[0], last[1], last[2]}};
  if (!blockManager->recordIntent(entry)) return 0;
  for (int level = 1; level < numLevels; ++level) {
    int k[3];
    for (k[2] = first[2] >> level; k[2] <= last[2] >> level; ++k[2])
      for (k[1] = first[1] >> level; k[1] <= last[1] >> level; ++k[1])
        for (k[0] = first[0] >> level; k[0] <= last[0] >> level; ++k[0])
          blockManager->forgetFlagOnDisk(getBlockNo(k, level));
  }
  return 1;
}

int LatticeManager::blocksNotCurrent(int level) const {
  if (!blockManager || level < 0 || level > numLevels) return 0;
  const int first = firstBlockOfLevel(level), end = first + blocksAtLevel(level);
  int count = 0;
  for (int b = first; b < end; ++b)
    if (!blockManager->validFlag(b)) ++count;
  return count;
}

int LatticeManager::layersOver(int slices, int level) const {
  const int64_t span = static_cast<int64_t>(blocking[2]) << level;
  const int64_t layers = slices > 0 ? (slices + span - 1) / span : 0;
  return static_cast<int>(std::min<int64_t>(layers, blocksAlong(2, level)));
}

bool LatticeManager::coarseLevelsCurrentOver(int slices) const {
  if (!blockManager) return true;
  for (int level = 1; level < numLevels; ++level) {
    const int first = firstBlockOfLevel(level);
    const int end = first + layersOver(slices, level) * blocksAlong(0, level) * blocksAlong(1, level);
    for (int b = first; b < end; ++b)
      if (!blockManager->validFlag(b)) return false;
  }
  return true;
}

// Zeros every block; a run of blocks goes out in one call. The level-0 blocks
// change, so coarse blocks flagged on disk are named in the intent record first.
void LatticeManager::clear() {
  if (!blockManager || !blockManager->writable) return;
  const int first[3] = {0, 0, 0};
  const int last[3] = {blocksAlong(0, 0) - 1, blocksAlong(1, 0) - 1, blocksAlong(2, 0) - 1};
  if (numBlocks > 0 && !recordIntentFor(first, last)) return;
  const int blockBytesInSet = blockManager->blockSize;
  const int perRun = std::max<int64_t>(1, kStagingBytes / blockBytesInSet) < numBlocks
                         ? static_cast<int>(std::max<int64_t>(1, kStagingBytes / blockBytesInSet))
                         : numBlocks;
  unsigned char* zeros = stagingFor(static_cast<int64_t>(perRun) * blockBytesInSet);
  if (!zeros) return;
  std::memset(zeros, 0, static_cast<size_t>(perRun) * blockBytesInSet);
  for (int b = 0; b < blockManager->numBlocks; b += perRun)
    blockManager->putBlocks(zeros, b, std::min(perRun, blockManager->numBlocks - b));
}

unsigned char* LatticeManager::stagingFor(int64_t bytes) {
  if (bytes > INT_MAX || !staging.resize(static_cast<int>(bytes))) return nullptr;
  return staging.dataPtr();
}
