#pragma once
// LdaCodecPipeline: how the stored bytes of one Zarr chunk become its
// elements, read from an array's metadata as untrusted JSON.
//
// A version 2 array names one compressor (or none) and its dtype the byte
// order; a version 3 array lists its codecs: "bytes" (with the byte order;
// "transpose" and other array-to-array codecs are refused), then byte-to-byte
// codecs, of which this host reads one compressor at most — zstd, gzip,
// blosc, zlib or lz4, by Zarr's names or numcodecs' ("numcodecs.zstd") —
// and any number of crc32c checksums. A description that does not fit is
// refused with `why` saying what. decode turns a whole stored chunk into
// exactly `outBytes` bytes of elements in the stored byte order; it answers
// false for a stream that is damaged, fails its checksum or does not come to
// that size, and never writes past `out + outBytes`. largestStream says how
// long a stored chunk of `chunkBytes` decoded bytes can be, so a file longer
// than that is refused before it is read.
#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <string>
#include <vector>

class SoDataCompressor;

class LdaCodecPipeline {
 public:
  bool readVersion2(const nlohmann::json* compressor, std::string& why);
  // `codecs`: the list inside the array (or inside its sharding codec).
  bool readVersion3(const nlohmann::json& codecs, std::string& why);

  bool decode(std::vector<unsigned char>& stored, unsigned char* out, size_t outBytes) const;
  int64_t largestStream(size_t chunkBytes) const;
  // Version 3 only: the "bytes" codec's byte order.
  bool bigEndian = false;

 private:
  enum Kind { NONE, CODEC, GZIP };
  bool choose(const std::string& name, std::string& why);

  Kind kind = NONE;
  std::shared_ptr<const SoDataCompressor> codec;
  int checksums = 0;  // crc32c codecs after the compressor
};
