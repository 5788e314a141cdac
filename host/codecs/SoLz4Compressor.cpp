#include "host/codecs/SoLz4Compressor.h"

#include <lz4.h>

#include <climits>
#include <cstdint>

namespace {

constexpr int acceleration = 1;

// Written byte by byte so streams read the same on any host.
void writeLength(uint32_t value, unsigned char* to) {
  for (size_t i = 0; i < SoLz4Compressor::headerBytes; ++i)
    to[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint32_t readLength(const unsigned char* from) {
  uint32_t value = 0;
  for (size_t i = 0; i < SoLz4Compressor::headerBytes; ++i)
    value |= static_cast<uint32_t>(from[i]) << (8 * i);
  return value;
}

}  // namespace

SbString SoLz4Compressor::getCompressorName() const { return SbString("lz4"); }

int SoLz4Compressor::getCompressionLevel() const { return acceleration; }

bool SoLz4Compressor::compress(const void* in, size_t inBytes,
                               std::vector<unsigned char>& out) const {
  out.clear();
  if (!validBuffer(in, inBytes) || inBytes > LZ4_MAX_INPUT_SIZE) return false;
  const int bound = LZ4_compressBound(static_cast<int>(inBytes));
  if (bound <= 0 || !resize(out, headerBytes + static_cast<size_t>(bound))) return false;
  const int written = LZ4_compress_fast(static_cast<const char*>(nonNull(in)),
                                        reinterpret_cast<char*>(out.data() + headerBytes),
                                        static_cast<int>(inBytes), bound, acceleration);
  if (written <= 0) {
    out.clear();
    return false;
  }
  out.resize(headerBytes + static_cast<size_t>(written));
  writeLength(static_cast<uint32_t>(inBytes), out.data());
  return true;
}

// LZ4_decompress_safe never writes past the capacity it is given and insists
// the block fills its input exactly, so truncation and padding both fail.
bool SoLz4Compressor::decompress(const unsigned char* in, size_t inBytes, void* out,
                                 size_t outBytes) const {
  if (!validBuffer(in, inBytes) || !validBuffer(out, outBytes)) return false;
  if (inBytes <= headerBytes || readLength(in) != outBytes) return false;
  const size_t blockBytes = inBytes - headerBytes;
  if (blockBytes > INT_MAX || outBytes > LZ4_MAX_INPUT_SIZE) return false;
  const int produced = LZ4_decompress_safe(reinterpret_cast<const char*>(in + headerBytes),
                                           static_cast<char*>(nonNull(out)),
                                           static_cast<int>(blockBytes),
                                           static_cast<int>(outBytes));
  return produced >= 0 && static_cast<size_t>(produced) == outBytes;
}
