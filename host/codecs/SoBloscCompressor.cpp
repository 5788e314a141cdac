#include "host/codecs/SoBloscCompressor.h"

#include <blosc.h>

namespace {

constexpr int compressionLevel = 5;

}  // namespace

SbString SoBloscCompressor::getCompressorName() const { return SbString("blosc"); }

int SoBloscCompressor::getCompressionLevel() const { return compressionLevel; }

// The context calls keep no global state, so threads may compress at once.
bool SoBloscCompressor::compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const {
  out.clear();
  if (!validBuffer(in, inBytes) || inBytes > BLOSC_MAX_BUFFERSIZE) return false;
  if (!resize(out, inBytes + BLOSC_MAX_OVERHEAD)) return false;
  const int written = blosc_compress_ctx(compressionLevel, shuffle, static_cast<size_t>(elementBytes), inBytes,
                                         nonNull(in), out.data(), out.size(), innerCodec, blockSize, 1);
  if (written <= 0) {
    out.clear();
    return false;
  }
  out.resize(static_cast<size_t>(written));
  return true;
}

bool SoBloscCompressor::decompress(const unsigned char* in, size_t inBytes, void* out, size_t outBytes) const {
  if (!validBuffer(in, inBytes) || !validBuffer(out, outBytes) || inBytes < BLOSC_MIN_HEADER_LENGTH) return false;
  size_t recorded = 0, stored = 0, block = 0;
  if (blosc_cbuffer_validate(in, inBytes, &recorded) != 0 || recorded != outBytes) return false;
  blosc_cbuffer_sizes(in, &recorded, &stored, &block);
  if (stored != inBytes) return false;  // bytes after the buffer, or fewer than it says
  const int produced = blosc_decompress_ctx(in, nonNull(out), outBytes, 1);
  return produced >= 0 && static_cast<size_t>(produced) == outBytes;
}
