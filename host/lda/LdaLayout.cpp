#include "host/lda/LdaLayout.h"

#include <algorithm>

namespace {

struct DtypeName {
  int primType;
  char kind;
};

const DtypeName kDtypes[] = {{TbPrimType::UINT8, 'u'},  {TbPrimType::INT16, 'i'},
                             {TbPrimType::UINT16, 'u'}, {TbPrimType::INT32, 'i'},
                             {TbPrimType::FLOAT, 'f'},  {TbPrimType::DOUBLE, 'f'}};

LdaLevel levelOf(const int* dims, int tileSize) {
  LdaLevel level;
  for (int a = 0; a < 3; ++a) {
    level.dims[a] = dims[a];
    level.chunk[a] = std::min(tileSize, dims[a]);
  }
  return level;
}

}  // namespace

LdaLayout::LdaLayout(const int* dims, int components, TbPrimType type, int tile)
    : nDataVar(components), primType(type), tileSize(tile) {
  levels.push_back(levelOf(dims, tileSize));
  for (;;) {
    const LdaLevel& last = levels.back();
    if (std::max({last.dims[0], last.dims[1], last.dims[2]}) <= tileSize) break;
    const int halved[3] = {(last.dims[0] + 1) / 2, (last.dims[1] + 1) / 2, (last.dims[2] + 1) / 2};
    levels.push_back(levelOf(halved, tileSize));
  }
}

std::string LdaLayout::chunkFolder(int level, int component, int iz) const {
  std::string key = std::to_string(level) + "/";
  if (hasChannelAxis()) key += std::to_string(component) + "/";
  return key + std::to_string(iz);
}

std::string LdaLayout::chunkKey(int level, int component, int iz, int iy, int ix) const {
  return chunkFolder(level, component, iz) + "/" + std::to_string(iy) + "/" + std::to_string(ix);
}

std::string zarrDtype(TbPrimType primType) {
  for (const DtypeName& dtype : kDtypes)
    if (dtype.primType == primType)
      return std::string(primType.size() == 1 ? "|" : "<") + dtype.kind +
             std::to_string(primType.size());
  return std::string();
}
