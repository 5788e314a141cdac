#include "host/rawdata/TbRawData.h"

#include <cstdint>
#include <cstring>

namespace {
// Buffers need not be aligned to their word size: words move through memcpy,
// which the compiler turns into plain loads and stores.
template <class Word, class Swap>
void swapWords(void* data, unsigned long count, Swap swap) {
  auto* bytes = static_cast<unsigned char*>(data);
  for (unsigned long i = 0; i < count; ++i) {
    Word word;
    std::memcpy(&word, bytes + sizeof(Word) * i, sizeof(Word));
    word = swap(word);
    std::memcpy(bytes + sizeof(Word) * i, &word, sizeof(Word));
  }
}
}  // namespace

void TbRawData::swapBytesWord2(void* data, unsigned long count) {
  swapWords<uint16_t>(data, count, [](uint16_t w) { return __builtin_bswap16(w); });
}

void TbRawData::swapBytesWord4(void* data, unsigned long count) {
  swapWords<uint32_t>(data, count, [](uint32_t w) { return __builtin_bswap32(w); });
}

void TbRawData::swapBytesWord8(void* data, unsigned long count) {
  swapWords<uint64_t>(data, count, [](uint64_t w) { return __builtin_bswap64(w); });
}

void TbRawData::swapBytes(TbTypedPointer data, unsigned long count) {
  switch (data.primType.size()) {
    case 2: swapBytesWord2(data.data, count); break;
    case 4: swapBytesWord4(data.data, count); break;
    case 8: swapBytesWord8(data.data, count); break;
    default: break;
  }
}
