#pragma once
// SoLz4Compressor: the "lz4" codec, the fastest to read back. A raw LZ4 block
// does not record how long it was before compression, so each stream starts with
// that length as 4 little-endian bytes, followed by one block written at
// acceleration 1: the framing numcodecs' LZ4 codec reads and writes, so Python's
// zarr decodes these streams as they are. The block carries no checksum: damage
// that still decodes to the right length goes unnoticed.
//
// Registration is SoRegisteredCompressor's. compress and decompress keep the
// base's failure promises; in addition compress refuses inputs larger than one
// LZ4 block can hold (LZ4_MAX_INPUT_SIZE, just under 2 GiB), and decompress
// refuses a stream whose recorded length does not match before writing anything.
#include "host/codecs/SoRegisteredCompressor.h"

class SoLz4Compressor : public SoRegisteredCompressor<SoLz4Compressor> {
 public:
  static constexpr const char* typeName = "SoLz4Compressor";

  SbString getCompressorName() const override;
  bool compress(const void* in, size_t inBytes, std::vector<unsigned char>& out) const override;
  bool decompress(const unsigned char* in, size_t inBytes, void* out,
                  size_t outBytes) const override;

  int getCompressionLevel() const override;

  // Bytes of the header in front of the block.
  static constexpr size_t headerBytes = 4;
};
