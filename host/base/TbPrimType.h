#pragma once
// TbPrimType: the host's primitive element types, with their byte sizes and names.
// Codes not listed in Type are unused: their size is 0 and their name null.

class TbPrimType {
 public:
  enum Type { UINT8 = 0, INT16 = 1, INT32 = 2, FLOAT = 3, DOUBLE = 4, UINT16 = 7 };
  enum { NUM_CODES = 8 };

  TbPrimType(int code = UINT8) : type(code) {}  // NOLINT: the codes are the host's integers
  operator int() const { return type; }          // NOLINT

  bool isValid() const { return type >= 0 && type < NUM_CODES && primTypeSize[type] > 0; }
  int size() const { return isValid() ? primTypeSize[type] : 0; }
  const char* name() const { return isValid() ? primTypeName[type] : nullptr; }

  static const int primTypeSize[NUM_CODES];
  static const char* const primTypeName[NUM_CODES];

  int type;
};

// A buffer together with the type of its elements.
struct TbTypedPointer {
  TbTypedPointer(void* data, TbPrimType type) : data(data), primType(type) {}
  void* data;
  TbPrimType primType;
};
