#pragma once
// SoZlibCompressor: the "zlib" codec, a plain zlib stream at zlib's default
// level (6), as numcodecs' Zlib codec reads it. Slow to write but readable by
// almost any tool, which is why it stays offered.
//
// Registration follows SoDataCompressor: initClass registers the base first,
// then this type, once; getClassTypeId registers on first use and never
// answers badType. compress and decompress keep the base's failure promises.
#include "host/codecs/SoDataCompressor.h"

class SoZlibCompressor : public SoDataCompressor {
 public:
  static SoType getClassTypeId();
  static void initClass();
  // The create function handed to the type system.
  static void* createInstance();

  SoType getTypeId() const override;
  SbString getCompressorName() const override;
  int getCompressionLevel() const override;
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;
};
