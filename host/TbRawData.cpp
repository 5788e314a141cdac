#include "host/TbRawData.h"

#include <cstdint>
#include <cstring>

void TbRawData::swapBytesWord2(void* data, unsigned long count) {
  auto* bytes = static_cast<unsigned char*>(data);
  for (unsigned long i = 0; i < count; ++i) {
    uint16_t word;
    std::memcpy(&word, bytes + 2 * i, 2);
    word = __builtin_bswap16(word);
    std::memcpy(bytes + 2 * i, &word, 2);
  }
}

void TbRawData::swapBytesWord4(void* data, unsigned long count) {
  auto* bytes = static_cast<unsigned char*>(data);
  for (unsigned long i = 0; i < count; ++i) {
    uint32_t word;
    std::memcpy(&word, bytes + 4 * i, 4);
    word = __builtin_bswap32(word);
    std::memcpy(bytes + 4 * i, &word, 4);
  }
}

void TbRawData::swapBytesWord8(void* data, unsigned long count) {
  auto* bytes = static_cast<unsigned char*>(data);
  for (unsigned long i = 0; i < count; ++i) {
    uint64_t word;
    std::memcpy(&word, bytes + 8 * i, 8);
    word = __builtin_bswap64(word);
    std::memcpy(bytes + 8 * i, &word, 8);
  }
}

void TbRawData::swapBytes(TbTypedPointer data, unsigned long count) {
  switch (data.primType.size()) {
    case 2: swapBytesWord2(data.data, count); break;
    case 4: swapBytesWord4(data.data, count); break;
    case 8: swapBytesWord8(data.data, count); break;
    default: break;
  }
}
