#pragma once
// SoZstdCompressor: the "zstd" codec, one Zstandard frame at level 3, the best
// ratio for its speed on volume blocks. Each frame records its content size and
// a checksum of the content, so damage is found rather than passed on;
// numcodecs' Zstd codec reads the size from the frame, so Python's zarr decodes
// these frames as they are.
//
// Registration is SoRegisteredCompressor's. compress and decompress keep the
// base's failure promises; frames written by streaming writers, which do not
// record their content size, decode too.
#include "host/codecs/SoRegisteredCompressor.h"

class SoZstdCompressor : public SoRegisteredCompressor<SoZstdCompressor> {
 public:
  static constexpr const char* typeName = "SoZstdCompressor";

  SbString getCompressorName() const override;
  int getCompressionLevel() const override;
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;
};
