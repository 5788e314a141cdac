#pragma once
// SoBloscCompressor: the "blosc" codec, zarr-python's default: one Blosc
// buffer (its 16-byte header records the original size, the element size and
// the inner codec) written as numcodecs' Blosc codec writes by default: inner
// codec lz4 at level 5, bytes shuffled by element, the block size chosen by
// Blosc, one thread per call. setElementBytes gives the element size the
// shuffle works by (1 until given). Any Blosc buffer decodes, whatever inner
// codec, level or shuffle it was written with.
//
// Registration is SoRegisteredCompressor's. compress and decompress keep the
// base's failure promises: decompress checks the header against the stream's
// length and `outBytes` before decoding anything, and refuses a buffer whose
// inner codec this library lacks.
#include "host/codecs/SoRegisteredCompressor.h"

class SoBloscCompressor : public SoRegisteredCompressor<SoBloscCompressor> {
 public:
  static constexpr const char* typeName = "SoBloscCompressor";
  // numcodecs' defaults, which these streams are written with.
  static constexpr const char* innerCodec = "lz4";
  static constexpr int shuffle = 1;
  static constexpr int blockSize = 0;

  SbString getCompressorName() const override;
  int getCompressionLevel() const override;
  void setElementBytes(int bytes) override { elementBytes = bytes > 0 ? bytes : 1; }
  int getElementBytes() const { return elementBytes; }
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;

 private:
  int elementBytes = 1;
};
