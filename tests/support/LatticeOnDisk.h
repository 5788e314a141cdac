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

  TempDir dir;
  std::unique_ptr<LatticeManager> lattice;
  int dims[3], blocking[3], nDataVar;
  TbPrimType primType;
};
