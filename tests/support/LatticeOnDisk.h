#pragma once
// A LatticeManager over a fresh block file set in a temporary folder, with
// helpers to move whole boxes in and out.
#include <memory>
#include <string>
#include <vector>

#include "blockstore/LatticeManager.h"
#include "support/ReferenceVolume.h"
#include "support/TempDir.h"

struct LatticeOnDisk {
  LatticeOnDisk(const int* dims, const int* blocking, int nDataVar, TbPrimType type);
  // Opens the set again from its files (after the first manager is gone).
  std::unique_ptr<LatticeManager> reopen() const;
  std::string setName() const { return dir.file("lattice"); }

  template <class T>
  int write(const ReferenceVolume<T>& volume, int slicesPerCall) {
    for (int z = 0; z < volume.nz; z += slicesPerCall) {
      int n = volume.nz - z < slicesPerCall ? volume.nz - z : slicesPerCall;
      int origin[3] = {0, 0, z};
      int size[3] = {volume.nx, volume.ny, n};
      const T* first = &volume.values[static_cast<size_t>(z) * volume.nx * volume.ny * volume.nc];
      if (!lattice->putBlock(const_cast<T*>(first), origin, size, origin, size)) return 0;
    }
    return 1;
  }

  // The box of `size` samples at `levels`, starting at level-0 `origin`; empty on failure.
  template <class T>
  ReferenceVolume<T> read(const int* origin, const int* size, const int* levels, T fill = T(0)) {
    return readFrom(*lattice, origin, size, levels, fill);
  }
  template <class T>
  static ReferenceVolume<T> readFrom(LatticeManager& from, const int* origin, const int* size,
                                     const int* levels, T fill = T(0)) {
    ReferenceVolume<T> box(size[0], size[1], size[2], from.nDataVar);
    for (T& v : box.values) v = fill;
    int lv[3] = {levels[0], levels[1], levels[2]};
    if (!from.getBlock(box.values.data(), origin, size, origin, size, lv)) return {};
    return box;
  }

  // Level 0 as stored, whatever the flags say (empty when it cannot be read).
  template <class T>
  static ReferenceVolume<T> levelZero(LatticeManager& from) {
    ReferenceVolume<T> level(from.dims[0], from.dims[1], from.dims[2], from.nDataVar);
    const int origin[3] = {0, 0, 0};
    int levels[3] = {0, 0, 0};
    if (!from.getBlockFromBaseLevel(level.values.data(), origin, from.dims, origin, from.dims, levels, 0)) return {};
    return level;
  }

  // Coarse blocks flagged current whose samples differ from the reduction of
  // the level-0 data on disk (-1 when level 0 cannot be read).
  template <class T>
  static int staleCoarseBlocks(LatticeManager& from) {
    ReferenceVolume<T> level = levelZero<T>(from);
    if (level.values.empty() && from.dims[0] * from.dims[1] * from.dims[2] > 0) return -1;
    std::vector<T> block(static_cast<size_t>(from.blockBytes()) / sizeof(T));
    const int* b = from.blocking;
    int stale = 0;
    for (int l = 1; l < from.numLevels; ++l) {
      level = level.reduced(2, 2, 2);
      int k[3];
      for (k[2] = 0; k[2] < from.blocksAlong(2, l); ++k[2])
        for (k[1] = 0; k[1] < from.blocksAlong(1, l); ++k[1])
          for (k[0] = 0; k[0] < from.blocksAlong(0, l); ++k[0]) {
            const int no = from.getBlockNo(k, l);
            if (!from.blockManager->validFlag(no) || !from.blockManager->getBlock(block.data(), no)) continue;
            bool same = true;
            for (int z = 0; z < b[2] && k[2] * b[2] + z < level.nz; ++z)
              for (int y = 0; y < b[1] && k[1] * b[1] + y < level.ny; ++y)
                for (int x = 0; x < b[0] && k[0] * b[0] + x < level.nx; ++x)
                  for (int c = 0; c < level.nc; ++c)
                    same = same && block[((size_t(z) * b[1] + y) * b[0] + x) * level.nc + c] ==
                                       level.at(k[0] * b[0] + x, k[1] * b[1] + y, k[2] * b[2] + z, c);
            stale += same ? 0 : 1;
          }
    }
    return stale;
  }

  TempDir dir;
  std::unique_ptr<LatticeManager> lattice;
  int dims[3], blocking[3], nDataVar;
  TbPrimType primType;
};
