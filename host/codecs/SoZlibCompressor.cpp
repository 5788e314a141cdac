#include "host/codecs/SoZlibCompressor.h"

#include <zlib.h>

namespace {

// zlib's own default level, named so that it can be written down.
constexpr int compressionLevel = 6;

// zlib counts in uLong, which is narrower than size_t on some platforms.
bool fitsULong(size_t bytes) { return bytes == static_cast<size_t>(static_cast<uLong>(bytes)); }

}  // namespace

SbString SoZlibCompressor::getCompressorName() const { return SbString("zlib"); }

int SoZlibCompressor::getCompressionLevel() const { return compressionLevel; }

bool SoZlibCompressor::compress(const void* in, size_t inBytes,
                                std::vector<unsigned char>& out) const {
  out.clear();
  if (!validBuffer(in, inBytes) || !fitsULong(inBytes)) return false;
  const uLong bound = compressBound(static_cast<uLong>(inBytes));
  if (bound < inBytes || !resize(out, bound)) return false;
  uLongf written = bound;
  const int status = compress2(out.data(), &written, static_cast<const Bytef*>(nonNull(in)),
                               static_cast<uLong>(inBytes), compressionLevel);
  if (status != Z_OK) {
    out.clear();
    return false;
  }
  out.resize(written);
  return true;
}

// uncompress2 reports how much input it used, so padding after the stream is
// caught as well as a stream that ends early or holds too much.
bool SoZlibCompressor::decompress(const unsigned char* in, size_t inBytes, void* out,
                                  size_t outBytes) const {
  if (!validBuffer(in, inBytes) || !validBuffer(out, outBytes)) return false;
  if (!fitsULong(inBytes) || !fitsULong(outBytes)) return false;
  uLongf produced = static_cast<uLongf>(outBytes);
  uLong consumed = static_cast<uLong>(inBytes);
  const int status = uncompress2(static_cast<Bytef*>(nonNull(out)), &produced,
                                 static_cast<const Bytef*>(nonNull(in)), &consumed);
  return status == Z_OK && produced == outBytes && consumed == inBytes;
}
