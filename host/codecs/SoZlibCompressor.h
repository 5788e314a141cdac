#pragma once
// SoZlibCompressor: the "zlib" codec, a plain zlib stream at zlib's default
// level (6), as numcodecs' Zlib codec reads it. Slow to write but readable by
// almost any tool, which is why it stays offered.
//
// Registration is SoRegisteredCompressor's. compress and decompress keep the
// base's failure promises.
#include "host/codecs/SoRegisteredCompressor.h"

class SoZlibCompressor : public SoRegisteredCompressor<SoZlibCompressor> {
 public:
  static constexpr const char* typeName = "SoZlibCompressor";

  SbString getCompressorName() const override;
  int getCompressionLevel() const override;
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;
};
