#include "host/lda/LdaCrc32c.h"

#include <array>

namespace {

// The reflected polynomial 0x1EDC6F41, a byte at a time.
std::array<uint32_t, 256> makeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ (0x82F63B78u & (0u - (value & 1u)));
    table[i] = value;
  }
  return table;
}

}  // namespace

uint32_t crc32c(const unsigned char* data, size_t bytes) {
  static const std::array<uint32_t, 256> table = makeTable();
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < bytes; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}
