#pragma once
// TbDataType: the host's descriptor of a value type, found by its name.
//
// Besides the primitive element types ("uint8", "int16", "int32", "float",
// "double", "uint16") it knows a few composite ones ("complex", "label",
// "rgba"), which are not primitive. init() returns 1 for a known name and 0
// otherwise, leaving the descriptor unset; an unset descriptor is not
// primitive and its asTbPrimType() is an invalid TbPrimType (code -1).
#include "host/base/TbPrimType.h"

class TbDataType {
 public:
  TbDataType();

  int init(const char* name);

  bool isTbPrimType() const;
  TbPrimType asTbPrimType() const;
  // The name given to init(), or null while unset.
  const char* getName() const { return name; }

 private:
  const char* name;
  int primCode;  // -1 for composite and unset types
};
