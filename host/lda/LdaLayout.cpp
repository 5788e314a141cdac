#include "host/lda/LdaLayout.h"

#include <algorithm>

namespace {

struct DtypeName {
  int primType;
  char kind;
  const char* dataType;
};

const DtypeName kDtypes[] = {{TbPrimType::UINT8, 'u', "uint8"},   {TbPrimType::INT16, 'i', "int16"},
                             {TbPrimType::UINT16, 'u', "uint16"}, {TbPrimType::INT32, 'i', "int32"},
                             {TbPrimType::FLOAT, 'f', "float32"}, {TbPrimType::DOUBLE, 'f', "float64"}};

// Shard files of level 0 at most, and chunks per shard along an axis at most.
const long long kMostShards = 4096;
const int kMostShardChunks = 16;

LdaLevel levelOf(const int* dims, const int* factor, int tileSize) {
  LdaLevel level;
  for (int a = 0; a < 3; ++a) {
    level.dims[a] = dims[a];
    level.chunk[a] = std::min(tileSize, dims[a]);
    level.factor[a] = factor[a];
    level.shardChunks[a] = 1;
  }
  return level;
}

// Chunks per shard along each axis: the fewest (a power of two) that keep
// level 0 within kMostShards files.
int shardChunksFor(const LdaLevel& base) {
  int chunks = 1;
  const auto files = [&](int per) {
    long long count = 1;
    for (int a = 0; a < 3; ++a) count *= (base.chunkCount(a) + per - 1) / per;
    return count;
  };
  while (chunks < kMostShardChunks && files(chunks) > kMostShards) chunks *= 2;
  return chunks;
}

}  // namespace

LdaLayout::LdaLayout(const int* dims, int components, TbPrimType type, int tile, int version)
    : nDataVar(components), primType(type), tileSize(tile), omeZarrVersion(version) {
  const int one[3] = {1, 1, 1};
  levels.push_back(levelOf(dims, one, tileSize));
  for (;;) {
    const LdaLevel& last = levels.back();
    if (std::max({last.dims[0], last.dims[1], last.dims[2]}) <= tileSize) break;
    int halved[3], factor[3];
    for (int a = 0; a < 3; ++a) {
      halved[a] = (last.dims[a] + 1) / 2;
      factor[a] = last.dims[a] > 1 ? last.factor[a] * 2 : last.factor[a];
    }
    levels.push_back(levelOf(halved, factor, tileSize));
  }
  if (!sharded()) return;
  const int perShard = shardChunksFor(levels[0]);
  for (LdaLevel& level : levels)
    for (int a = 0; a < 3; ++a) level.shardChunks[a] = std::min(perShard, level.chunkCount(a));
}

std::string LdaLayout::chunkFolder(int level, int component, int iz, int iy) const {
  const LdaLevel& shape = levels[level];
  std::string key = std::to_string(level) + (sharded() ? "/c/" : "/");
  if (hasChannelAxis()) key += std::to_string(component) + "/";
  return key + std::to_string(iz / shape.shardChunks[2]) + "/" + std::to_string(iy / shape.shardChunks[1]);
}

std::string LdaLayout::chunkKey(int level, int component, int iz, int iy, int ix) const {
  return chunkFolder(level, component, iz, iy) + "/" + std::to_string(ix / levels[level].shardChunks[0]);
}

int LdaLayout::placeInShard(int level, int iz, int iy, int ix) const {
  const LdaLevel& shape = levels[level];
  return ((iz % shape.shardChunks[2]) * shape.shardChunks[1] + iy % shape.shardChunks[1]) * shape.shardChunks[0] +
         ix % shape.shardChunks[0];
}

int LdaLayout::chunksInShard(int level, int iz, int iy, int ix) const {
  const LdaLevel& shape = levels[level];
  const int at[3] = {ix, iy, iz};
  int count = 1;
  for (int a = 0; a < 3; ++a) {
    const int first = at[a] / shape.shardChunks[a] * shape.shardChunks[a];
    count *= std::min(shape.shardChunks[a], shape.chunkCount(a) - first);
  }
  return count;
}

std::string zarrDtype(TbPrimType primType) {
  for (const DtypeName& dtype : kDtypes)
    if (dtype.primType == primType)
      return std::string(primType.size() == 1 ? "|" : "<") + dtype.kind + std::to_string(primType.size());
  return std::string();
}

std::string zarrDataType(TbPrimType primType) {
  for (const DtypeName& dtype : kDtypes)
    if (dtype.primType == primType) return dtype.dataType;
  return std::string();
}
