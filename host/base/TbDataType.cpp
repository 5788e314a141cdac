#include "host/base/TbDataType.h"

#include <cstring>

namespace {

struct KnownType {
  const char* name;
  int primCode;
};

const KnownType kKnownTypes[] = {
    {"uint8", TbPrimType::UINT8},   {"int16", TbPrimType::INT16}, {"int32", TbPrimType::INT32},
    {"float", TbPrimType::FLOAT},   {"double", TbPrimType::DOUBLE},
    {"uint16", TbPrimType::UINT16}, {"complex", -1},              {"label", -1},
    {"rgba", -1},
};

}  // namespace

TbDataType::TbDataType() : name(nullptr), primCode(-1) {}

int TbDataType::init(const char* typeName) {
  name = nullptr;
  primCode = -1;
  if (!typeName) return 0;
  for (const KnownType& known : kKnownTypes) {
    if (std::strcmp(known.name, typeName) != 0) continue;
    name = known.name;
    primCode = known.primCode;
    return 1;
  }
  return 0;
}

bool TbDataType::isTbPrimType() const { return primCode >= 0; }

TbPrimType TbDataType::asTbPrimType() const { return TbPrimType(primCode); }
