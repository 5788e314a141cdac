#include "support/LatticeOnDisk.h"

LatticeOnDisk::LatticeOnDisk(const int* dims_, const int* blocking_, int nDataVar_, TbPrimType type)
    : nDataVar(nDataVar_), primType(type) {
  for (int a = 0; a < 3; ++a) {
    dims[a] = dims_[a];
    blocking[a] = blocking_[a];
  }
  lattice.reset(new LatticeManager(dims, blocking, nDataVar, type));
  lattice->setBlockManager(BlockManager::create(setName().c_str(), lattice->blockBytes(),
                                                lattice->numBlocks, type.size(), 0, 1, 1));
}

std::unique_ptr<LatticeManager> LatticeOnDisk::reopen() const {
  std::unique_ptr<LatticeManager> again(
      new LatticeManager(dims, blocking, nDataVar, primType));
  again->setBlockManager(BlockManager::open(setName().c_str(), again->blockBytes(), again->numBlocks,
                                            again->primType.size(), 0, 1));
  return again;
}
