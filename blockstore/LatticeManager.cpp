#include "blockstore/LatticeManager.h"

#include <cstring>

#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;
}  // namespace

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
  const int span = blocking[axis] << level;
  return (dims[axis] - 1 + span) / span;
}

int LatticeManager::blocksAtLevel(int level) const {
  return blocksAlong(0, level) * blocksAlong(1, level) * blocksAlong(2, level);
}

// Levels go on until one block spans at least twice the lattice on every axis,
// or until a block halved once more would be one sample thick on some axis.
void LatticeManager::calcNumBlocks() {
  numBlocks = 0;
  int level = -1;
  for (;;) {
    ++level;
    numBlocks += blocksAtLevel(level);
    bool spansAll = true;
    bool tooThin = false;
    for (int a = 0; a < 3; ++a) {
      if ((blocking[a] << level) < 2 * dims[a]) spansAll = false;
      if ((blocking[a] >> level) <= 1) tooThin = true;
    }
    if (spansAll || tooThin) break;
  }
  numLevels = level;
}

int LatticeManager::getBlockNo(int* idx, int level) {
  int offset = 0;
  for (int l = 0; l < level; ++l) offset += blocksAtLevel(l);
  const int nx = level >= 0 ? blocksAlong(0, level) : 0;
  const int ny = level >= 0 ? blocksAlong(1, level) : 0;
  return offset + idx[0] + (ny * idx[2] + idx[1]) * nx;
}

void LatticeManager::setBlockManager(BlockManager* manager) { blockManager = manager; }

void LatticeManager::clear() {
  if (!blockManager || !buffer.resize(blockManager->blockSize)) return;
  std::memset(buffer.dataPtr(), 0, static_cast<size_t>(blockManager->blockSize));
  for (int b = 0; b < blockManager->numBlocks; ++b) blockManager->putBlock(buffer.dataPtr(), b);
}
