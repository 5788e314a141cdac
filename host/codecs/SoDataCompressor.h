#pragma once
// SoDataCompressor: the abstract base of the host's block codecs, entered in
// the Open Inventor run-time type system so packages can list what is offered.
//
// getClassTypeId and initClass register the abstract type on first use and
// never register it twice; getClassTypeId never answers badType. If nobody has
// started the Inventor database yet they start it, and then also stop it
// (SoDB::finish) when the process exits. The type has no create function:
// createInstance on it answers null. Codecs hold no state, so one instance
// may serve any number of threads.
//
// compress answers false, with `out` empty, when the codec cannot take the
// input or memory runs out. decompress answers false on a truncated or padded
// stream, on a damaged one (as far as the format's checksum can tell) and
// when the stream's original size differs from `outBytes`; it never writes
// beyond `outBytes` bytes of `out`, though after a failure the bytes it did
// write are unspecified. Neither call throws.
#include <Inventor/SbString.h>
#include <Inventor/SoType.h>

#include <cstddef>
#include <vector>

class SoDataCompressor {
 public:
  virtual ~SoDataCompressor();

  static SoType getClassTypeId();
  static void initClass();

  virtual SoType getTypeId() const = 0;
  // The short name a user picks the codec by ("zlib", "zstd", ...).
  virtual SbString getCompressorName() const = 0;
  // The level the codec writes its streams at (for lz4 the acceleration),
  // as numcodecs names it in a Zarr array's compressor settings.
  virtual int getCompressionLevel() const = 0;

  // The bytes of one element of the data to come, for codecs that shuffle
  // bytes by element before compressing (blosc); others ignore it. Set it
  // before the instance is shared between threads.
  virtual void setElementBytes(int /*bytes*/) {}

  // Replaces `out` with the compressed stream of `inBytes` bytes at `in`.
  virtual bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const = 0;
  // Restores exactly `outBytes` bytes into `out` from the whole stream `in`.
  virtual bool decompress(const unsigned char* in, size_t inBytes, void* out,
                          size_t outBytes) const = 0;

 protected:
  SoDataCompressor() = default;
  SoDataCompressor(const SoDataCompressor&) = default;
  SoDataCompressor& operator=(const SoDataCompressor&) = default;

  // A null pointer is acceptable only together with a zero length.
  static bool validBuffer(const void* data, size_t bytes) { return data || bytes == 0; }
  // The codec libraries are not all happy with null even for zero lengths.
  static const void* nonNull(const void* data);
  static void* nonNull(void* data);
  // Sizes `out` to `bytes`; false (and `out` empty) when memory runs out.
  static bool resize(std::vector<unsigned char>& out, size_t bytes);
};
