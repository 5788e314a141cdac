#include "host/codecs/SoLz4Compressor.h"

#include <lz4.h>
#include <zlib.h>

#include <climits>
#include <cstdint>

namespace {

constexpr size_t lengthBytes = 8;
constexpr size_t crcBytes = SoLz4Compressor::headerBytes - lengthBytes;

// Written byte by byte so streams read the same on any host.
void writeLittleEndian(uint64_t value, size_t bytes, unsigned char* to) {
  for (size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint64_t readLittleEndian(const unsigned char* from, size_t bytes) {
  uint64_t value = 0;
  for (size_t i = 0; i < bytes; ++i) value |= static_cast<uint64_t>(from[i]) << (8 * i);
  return value;
}

uint64_t blockCrc(const unsigned char* block, size_t bytes) {
  return crc32_z(crc32_z(0, nullptr, 0), block, bytes);
}

// The header must promise exactly `outBytes` and match the block it fronts.
bool headerMatches(const unsigned char* in, size_t inBytes, size_t outBytes) {
  if (inBytes <= SoLz4Compressor::headerBytes) return false;
  if (readLittleEndian(in, lengthBytes) != outBytes) return false;
  const unsigned char* block = in + SoLz4Compressor::headerBytes;
  const size_t blockBytes = inBytes - SoLz4Compressor::headerBytes;
  return readLittleEndian(in + lengthBytes, crcBytes) == blockCrc(block, blockBytes);
}

}  // namespace

SoType SoLz4Compressor::getClassTypeId() {
  static const SoType type = SoType::createType(
      SoDataCompressor::getClassTypeId(), SbName("SoLz4Compressor"), &createInstance);
  return type;
}

void SoLz4Compressor::initClass() {
  SoDataCompressor::initClass();
  (void)getClassTypeId();
}

void* SoLz4Compressor::createInstance() { return new SoLz4Compressor; }

SoType SoLz4Compressor::getTypeId() const { return getClassTypeId(); }

SbString SoLz4Compressor::getCompressorName() const { return SbString("lz4"); }

bool SoLz4Compressor::compress(const void* in, size_t inBytes,
                               std::vector<unsigned char>& out) const {
  out.clear();
  if (!validBuffer(in, inBytes) || inBytes > LZ4_MAX_INPUT_SIZE) return false;
  const int bound = LZ4_compressBound(static_cast<int>(inBytes));
  if (bound <= 0 || !resize(out, headerBytes + static_cast<size_t>(bound))) return false;
  unsigned char* block = out.data() + headerBytes;
  const int written = LZ4_compress_default(static_cast<const char*>(nonNull(in)),
                                           reinterpret_cast<char*>(block),
                                           static_cast<int>(inBytes), bound);
  if (written <= 0) {
    out.clear();
    return false;
  }
  out.resize(headerBytes + static_cast<size_t>(written));
  writeLittleEndian(inBytes, lengthBytes, out.data());
  const uint64_t crc = blockCrc(out.data() + headerBytes, static_cast<size_t>(written));
  writeLittleEndian(crc, crcBytes, out.data() + lengthBytes);
  return true;
}

// LZ4_decompress_safe never writes past the capacity it is given and insists
// the block fills its input exactly, so truncation and padding both fail.
bool SoLz4Compressor::decompress(const unsigned char* in, size_t inBytes, void* out,
                                 size_t outBytes) const {
  if (!validBuffer(in, inBytes) || !validBuffer(out, outBytes)) return false;
  if (!headerMatches(in, inBytes, outBytes)) return false;
  const size_t blockBytes = inBytes - headerBytes;
  if (blockBytes > INT_MAX || outBytes > LZ4_MAX_INPUT_SIZE) return false;
  const int produced = LZ4_decompress_safe(reinterpret_cast<const char*>(in + headerBytes),
                                           static_cast<char*>(nonNull(out)),
                                           static_cast<int>(blockBytes),
                                           static_cast<int>(outBytes));
  return produced >= 0 && static_cast<size_t>(produced) == outBytes;
}
