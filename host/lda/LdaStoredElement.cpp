#include "host/lda/LdaStoredElement.h"

#include <cstdint>
#include <cstring>

#include "host/base/TbCPUInfo.h"
#include "host/rawdata/TbRawData.h"

namespace {

struct Known {
  char kind;
  int bytes;
  const char* dataType;  // version 3 name
  int hostType;
};

const Known kKnown[] = {{'b', 1, "bool", TbPrimType::UINT8},    {'u', 1, "uint8", TbPrimType::UINT8},
                        {'i', 1, "int8", TbPrimType::INT16},     {'u', 2, "uint16", TbPrimType::UINT16},
                        {'i', 2, "int16", TbPrimType::INT16},    {'u', 4, "uint32", TbPrimType::DOUBLE},
                        {'i', 4, "int32", TbPrimType::INT32},    {'f', 4, "float32", TbPrimType::FLOAT},
                        {'f', 8, "float64", TbPrimType::DOUBLE}};

void fill(const Known& known, bool bigEndian, LdaStoredElement& element) {
  element.kind = known.kind;
  element.bytes = known.bytes;
  element.bigEndian = bigEndian && known.bytes > 1;
  element.hostType = TbPrimType(known.hostType);
}

template <class From, class To>
void widen(const unsigned char* in, size_t count, unsigned char* out) {
  for (size_t i = 0; i < count; ++i) {
    From value;
    std::memcpy(&value, in + i * sizeof(From), sizeof(From));
    const To wide = static_cast<To>(value);
    std::memcpy(out + i * sizeof(To), &wide, sizeof(To));
  }
}

}  // namespace

bool storedElementOfDtype(const std::string& dtype, LdaStoredElement& element) {
  if (dtype.size() != 3 || (dtype[0] != '<' && dtype[0] != '>' && dtype[0] != '|')) return false;
  for (const Known& known : kKnown)
    if (dtype[1] == known.kind && dtype[2] - '0' == known.bytes) {
      if (dtype[0] == '|' && known.bytes != 1) return false;
      fill(known, dtype[0] == '>', element);
      return true;
    }
  return false;
}

bool storedElementOfDataType(const std::string& dataType, bool bigEndian, LdaStoredElement& element) {
  for (const Known& known : kKnown)
    if (dataType == known.dataType) {
      fill(known, bigEndian, element);
      return true;
    }
  return false;
}

void toHostElements(const LdaStoredElement& element, unsigned char* in, size_t count, unsigned char* out) {
  if (element.bigEndian == TbCPUInfo::isLittleEndian() && element.bytes > 1) {
    const TbPrimType sameSize = element.bytes == 2 ? TbPrimType::UINT16 : element.bytes == 4 ? TbPrimType::INT32
                                                                                              : TbPrimType::DOUBLE;
    TbRawData::swapBytes(TbTypedPointer(in, sameSize), count);
  }
  if (element.kind == 'b') {
    for (size_t i = 0; i < count; ++i) out[i] = in[i] ? 1 : 0;
  } else if (element.readAsIs()) {
    if (in != out) std::memcpy(out, in, count * element.bytes);
  } else if (element.kind == 'i') {
    widen<int8_t, int16_t>(in, count, out);
  } else {
    widen<uint32_t, double>(in, count, out);
  }
}
