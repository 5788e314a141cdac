#pragma once
// LdaStoredElement: the element type of a Zarr array and the host type it is
// read as. Types the host holds are read as they are (uint8, int16, uint16,
// int32, float32, float64); others are widened where the host has a type
// that holds every value exactly: bool as uint8, int8 as int16, uint32 as
// float64. 64-bit integers, float16 and complex numbers are refused (the
// functions answer false).
#include <string>

#include "host/base/TbPrimType.h"

struct LdaStoredElement {
  int bytes = 1;
  char kind = 'u';  // 'u' unsigned, 'i' signed, 'f' floating point, 'b' bool
  bool bigEndian = false;
  TbPrimType hostType;

  bool readAsIs() const { return hostType.size() == bytes && kind != 'b'; }
};

// A version 2 dtype ("<u2", "|u1", ">f8", ...).
bool storedElementOfDtype(const std::string& dtype, LdaStoredElement& element);
// A version 3 data_type ("uint16", "float32", ...), its byte order from the codecs.
bool storedElementOfDataType(const std::string& dataType, bool bigEndian, LdaStoredElement& element);
// `count` stored elements (in their byte order) as host elements in the host's byte order.
void toHostElements(const LdaStoredElement& element, unsigned char* in, size_t count, unsigned char* out);
