#pragma once
// LdaLayout: the shape of an lda store, a multi-resolution OME-Zarr image.
//
// Level 0 is the volume itself; level L+1 is level L halved on every axis,
// rounded up, and exists while any axis of level L exceeds the tile size.
// Every level is one Zarr array cut into chunks of the tile size on each
// spatial axis (clipped to the level). A volume of several components gets a
// leading channel axis with chunks of one component, so a chunk holds one
// component of a box, x fastest; a single component has no channel axis.
// Chunk keys use "/" between the indices ("1/0/2/3/4": level 1, component 0,
// chunk z 2, y 3, x 4). Nothing here touches a file or fails: the caller
// checks the tile size (at least 1) and the dims (at least 1) beforehand.
#include <cstddef>
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"

struct LdaLevel {
  int dims[3];   // x, y, z samples of the level
  int chunk[3];  // x, y, z samples of one chunk
  int chunkCount(int axis) const { return (dims[axis] + chunk[axis] - 1) / chunk[axis]; }
  size_t sliceSamples() const { return static_cast<size_t>(dims[0]) * dims[1]; }
  size_t chunkSamples() const { return static_cast<size_t>(chunk[0]) * chunk[1] * chunk[2]; }
};

class LdaLayout {
 public:
  LdaLayout(const int* dims, int nDataVar, TbPrimType primType, int tileSize);

  bool hasChannelAxis() const { return nDataVar > 1; }
  int numLevels() const { return static_cast<int>(levels.size()); }
  // Bytes of one sample (all components) and of one stored chunk.
  size_t sampleBytes() const { return static_cast<size_t>(nDataVar) * primType.size(); }
  size_t chunkBytes(int level) const { return levels[level].chunkSamples() * primType.size(); }
  // The key of a chunk below the store's folder; `component` is ignored
  // without a channel axis.
  std::string chunkKey(int level, int component, int iz, int iy, int ix) const;
  // The folder holding the chunks of one z index (and one component).
  std::string chunkFolder(int level, int component, int iz) const;

  std::vector<LdaLevel> levels;
  int nDataVar;
  TbPrimType primType;
  int tileSize;
};

// The Zarr dtype of a host element type ("|u1", "<i2", "<u2", "<i4", "<f4",
// "<f8"); empty for a type a store cannot hold.
std::string zarrDtype(TbPrimType primType);
