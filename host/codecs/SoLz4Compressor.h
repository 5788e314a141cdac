#pragma once
// SoLz4Compressor: the "lz4" codec, the fastest to read back. A raw LZ4 block
// records neither how long it was before compression nor any check of its
// bytes, so each stream starts with a small header: the original length (8
// bytes) and a CRC-32 of the block (4 bytes), both little-endian, followed by
// one block. The CRC covers the compressed bytes, the fewer to check.
//
// Registration follows SoDataCompressor: initClass registers the base first,
// then this type, once; getClassTypeId registers on first use and never
// answers badType. compress and decompress keep the base's failure promises;
// in addition compress refuses inputs larger than one LZ4 block can hold
// (LZ4_MAX_INPUT_SIZE, just under 2 GiB), and decompress refuses a stream
// whose recorded length or CRC does not match before writing anything.
#include "host/codecs/SoDataCompressor.h"

class SoLz4Compressor : public SoDataCompressor {
 public:
  static SoType getClassTypeId();
  static void initClass();
  // The create function handed to the type system.
  static void* createInstance();

  SoType getTypeId() const override;
  SbString getCompressorName() const override;
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;

  // Bytes of the header in front of the block.
  static constexpr size_t headerBytes = 12;
};
