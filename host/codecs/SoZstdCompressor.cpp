#include "host/codecs/SoZstdCompressor.h"

#include <zstd.h>

#include <memory>

namespace {

// Level 3 is the library's own default: most of the ratio for little time.
constexpr int compressionLevel = 3;

struct ContextDeleter {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};
using Context = std::unique_ptr<ZSTD_CCtx, ContextDeleter>;

// A frame carries no checksum unless asked, and without one a damaged
// literal would come back as quietly wrong data.
Context makeContext() {
  Context context(ZSTD_createCCtx());
  if (!context) return context;
  if (ZSTD_isError(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel,
                                          compressionLevel)) ||
      ZSTD_isError(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1)))
    context.reset();
  return context;
}

}  // namespace

SbString SoZstdCompressor::getCompressorName() const { return SbString("zstd"); }

int SoZstdCompressor::getCompressionLevel() const { return compressionLevel; }

bool SoZstdCompressor::compress(const void* in, size_t inBytes,
                                std::vector<unsigned char>& out) const {
  out.clear();
  if (!validBuffer(in, inBytes)) return false;
  const size_t bound = ZSTD_compressBound(inBytes);
  if (ZSTD_isError(bound) || !resize(out, bound)) return false;
  // One context per thread, kept: making one costs megabytes of fresh memory.
  thread_local const Context context = makeContext();
  const size_t written =
      context ? ZSTD_compress2(context.get(), out.data(), out.size(), nonNull(in), inBytes) : 0;
  if (!context || ZSTD_isError(written)) {
    out.clear();
    return false;
  }
  out.resize(written);
  return true;
}

// A frame that records its content size is refused on a mismatch before
// anything is written; one written as a stream may not record it, and is
// decoded into no more than outBytes. ZSTD_decompress itself refuses overruns,
// bytes after the last frame and checksum failures; a short result is caught
// here.
bool SoZstdCompressor::decompress(const unsigned char* in, size_t inBytes, void* out,
                                  size_t outBytes) const {
  if (!validBuffer(in, inBytes) || !validBuffer(out, outBytes)) return false;
  const unsigned long long recorded = ZSTD_getFrameContentSize(nonNull(in), inBytes);
  if (recorded == ZSTD_CONTENTSIZE_ERROR || (recorded != ZSTD_CONTENTSIZE_UNKNOWN && recorded != outBytes))
    return false;
  const size_t produced = ZSTD_decompress(nonNull(out), outBytes, nonNull(in), inBytes);
  return !ZSTD_isError(produced) && produced == outBytes;
}
