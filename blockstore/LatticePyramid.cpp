// Bringing the coarser levels up to date with level 0.
#include <cstdint>
#include <cstring>

#include "blockstore/LatticeManager.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbMemory.h"

namespace {
TbAssertionHandlerInit assertionHandler;
}  // namespace

int LatticeManager::updateBlock(int* idx, int level) {
  if (level <= 0 || !blockManager || !blockManager->writable) return 0;
  // Zeroed, so the part of a border block beyond the lattice is stored as zeros.
  auto* block = static_cast<unsigned char*>(tbmalloc(static_cast<size_t>(blockBytes())));
  if (!block) return 0;
  std::memset(block, 0, static_cast<size_t>(blockBytes()));
  int first[3];
  int levels[3] = {level, level, level};
  for (int a = 0; a < 3; ++a)
    first[a] = static_cast<int>((static_cast<int64_t>(idx[a]) << level) * blocking[a]);
  int done = getBlockFromBaseLevel(block, first, blocking, first, blocking, levels, level - 1) &&
             blockManager->putBlock(block, getBlockNo(idx, level));
  tbfree(block);
  return done ? 1 : 0;
}

// Levels are visited upward, so the blocks below a level are current by the
// time it is rebuilt and no update has to recurse.
void LatticeManager::updateAllLevels(TbProgressInterface* progress) {
  if (progress) progress->beginWork("updating subsampling levels");
  for (int level = 1; level < numLevels && blockManager; ++level) {
    const int count[3] = {blocksAlong(0, level), blocksAlong(1, level), blocksAlong(2, level)};
    int idx[3];
    for (idx[2] = 0; idx[2] < count[2]; ++idx[2]) {
      for (idx[1] = 0; idx[1] < count[1]; ++idx[1]) {
        for (idx[0] = 0; idx[0] < count[0]; ++idx[0]) {
          const int blockNo = getBlockNo(idx, level);
          if (progress) progress->setProgress(static_cast<float>(blockNo + 1) / static_cast<float>(numBlocks));
          if (blockManager->validFlag(blockNo)) continue;
          if (!updateBlock(idx, level)) {
            if (progress) progress->endWork();
            return;
          }
        }
      }
    }
  }
  if (blockManager) blockManager->writeValids();
  if (progress) progress->endWork();
}
