#pragma once
// LdaLayout: the shape of an lda store, a multi-resolution OME-Zarr image.
//
// Level 0 is the volume itself; level L+1 is level L halved on every axis of
// more than one sample, rounded up, and exists while any axis of level L
// exceeds the tile size; `factor` says how far a level is reduced from level
// 0 along each axis (an axis of one sample is never halved). Every level is
// one Zarr array cut into chunks of the tile size on each spatial axis
// (clipped to the level). A volume of several components gets a leading
// channel axis with chunks of one component, so a chunk holds one component
// of a box, x fastest; a single component has no channel axis.
//
// OME-Zarr 0.4 stores (Zarr version 2) keep a file per chunk under keys with
// "/" between the indices ("1/0/2/3/4": level 1, component 0, chunk z 2, y 3,
// x 4). OME-Zarr 0.5 stores (Zarr version 3) keep chunks in shards of
// `shardChunks` chunks along each axis, as many as keep level 0 at about 4096
// shard files at most (up to 16 per axis, fewer where a level has fewer
// chunks); a shard's key starts with "c" ("1/c/0/2/3/4"), and a chunk's place
// in its shard is its index inside the shard, x fastest. Nothing here touches
// a file or fails: the caller checks the tile size (at least 1) and the dims
// (at least 1) beforehand.
#include <cstddef>
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"

struct LdaLevel {
  int dims[3];         // x, y, z samples of the level
  int chunk[3];        // x, y, z samples of one chunk
  int factor[3];       // level 0 samples per sample of the level, x, y, z
  int shardChunks[3];  // chunks per shard along x, y, z (1 without shards)
  int chunkCount(int axis) const { return (dims[axis] + chunk[axis] - 1) / chunk[axis]; }
  int shardEdge(int axis) const { return chunk[axis] * shardChunks[axis]; }
  int shardCount(int axis) const { return (chunkCount(axis) + shardChunks[axis] - 1) / shardChunks[axis]; }
  size_t sliceSamples() const { return static_cast<size_t>(dims[0]) * dims[1]; }
  size_t chunkSamples() const { return static_cast<size_t>(chunk[0]) * chunk[1] * chunk[2]; }
  int chunksPerShard() const { return shardChunks[0] * shardChunks[1] * shardChunks[2]; }
};

class LdaLayout {
 public:
  // `omeZarrVersion` 4 (OME-Zarr 0.4) or 5 (0.5, sharded).
  LdaLayout(const int* dims, int nDataVar, TbPrimType primType, int tileSize, int omeZarrVersion = 4);

  bool hasChannelAxis() const { return nDataVar > 1; }
  bool sharded() const { return omeZarrVersion == 5; }
  int numLevels() const { return static_cast<int>(levels.size()); }
  // Bytes of one sample (all components) and of one stored chunk.
  size_t sampleBytes() const { return static_cast<size_t>(nDataVar) * primType.size(); }
  size_t chunkBytes(int level) const { return levels[level].chunkSamples() * primType.size(); }
  // The file a chunk goes to, below the store's folder: its own, or its
  // shard's; `component` is ignored without a channel axis.
  std::string chunkKey(int level, int component, int iz, int iy, int ix) const;
  // The folder holding that file.
  std::string chunkFolder(int level, int component, int iz, int iy) const;
  // The chunk's place in its shard (0 without shards).
  int placeInShard(int level, int iz, int iy, int ix) const;
  // How many chunks of the level lie in the shard holding that chunk.
  int chunksInShard(int level, int iz, int iy, int ix) const;

  std::vector<LdaLevel> levels;
  int nDataVar;
  TbPrimType primType;
  int tileSize;
  int omeZarrVersion;
};

// The Zarr version 2 dtype of a host element type ("|u1", "<i2", "<u2",
// "<i4", "<f4", "<f8"), and its version 3 data_type ("uint8", ...); empty
// for a type a store cannot hold.
std::string zarrDtype(TbPrimType primType);
std::string zarrDataType(TbPrimType primType);
