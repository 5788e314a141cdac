#include "host/lda/LdaCodecPipeline.h"

#include <zlib.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "host/lda/LdaCodecs.h"
#include "host/lda/LdaCrc32c.h"
#include "host/lda/LdaJson.h"

using nlohmann::json;

namespace {

// Zarr's names and numcodecs' for the codecs this host decodes.
struct Alias {
  const char* name;
  const char* codec;  // the host codec's name; null for gzip
};
const Alias kAliases[] = {{"zstd", "zstd"},   {"numcodecs.zstd", "zstd"},   {"blosc", "blosc"},
                          {"numcodecs.blosc", "blosc"}, {"zlib", "zlib"},   {"numcodecs.zlib", "zlib"},
                          {"lz4", "lz4"},     {"numcodecs.lz4", "lz4"},     {"gzip", nullptr},
                          {"numcodecs.gzip", nullptr}};

// A gzip member (numcodecs' GZip, Zarr's gzip) inflated into exactly outBytes.
bool gunzip(const std::vector<unsigned char>& in, unsigned char* out, size_t outBytes) {
  if (in.size() > UINT32_MAX || outBytes > UINT32_MAX) return false;
  z_stream stream{};
  if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) return false;
  stream.next_in = const_cast<unsigned char*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = out;
  stream.avail_out = static_cast<uInt>(outBytes);
  const int status = inflate(&stream, Z_FINISH);
  const bool whole = status == Z_STREAM_END && stream.avail_out == 0 && stream.avail_in == 0;
  inflateEnd(&stream);
  return whole;
}

uint32_t littleEndian32(const unsigned char* bytes) {
  return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

}  // namespace

bool LdaCodecPipeline::choose(const std::string& name, std::string& why) {
  for (const Alias& alias : kAliases) {
    if (name != alias.name) continue;
    if (kind != NONE) {
      why = "more than one compressor is not supported";
      return false;
    }
    if (!alias.codec) {
      kind = GZIP;
      return true;
    }
    codec = ldaCodecByName(alias.codec);
    kind = CODEC;
    return codec != nullptr || (why = "codec \"" + name + "\" is not registered", false);
  }
  why = "compressor \"" + name + "\" is not supported (zstd, blosc, gzip, zlib, lz4 or none)";
  return false;
}

bool LdaCodecPipeline::readVersion2(const json* compressor, std::string& why) {
  if (!compressor || compressor->is_null()) return true;
  const json* id = jsonMember(*compressor, "id");
  if (!id || !id->is_string()) {
    why = "its compressor entry names no codec";
    return false;
  }
  return choose(id->get<std::string>(), why);
}

bool LdaCodecPipeline::readVersion3(const json& codecs, std::string& why) {
  if (!codecs.is_array() || codecs.empty() || codecs.size() > 8) {
    why = "its codecs are not a list of 1 to 8 codecs";
    return false;
  }
  bool sawBytes = false;
  for (const json& entry : codecs) {
    const std::string name = entry.is_string() ? entry.get<std::string>() : jsonText(jsonMember(entry, "name"));
    const json* configuration = jsonMember(entry, "configuration");
    if (name == "bytes" && !sawBytes && kind == NONE && checksums == 0) {
      const std::string endian = configuration ? jsonText(jsonMember(*configuration, "endian")) : "";
      bigEndian = endian == "big";
      sawBytes = true;
    } else if (!sawBytes) {
      why = "codec \"" + name + "\" before \"bytes\" is not supported (arrays are read in C order)";
      return false;
    } else if (name == "crc32c") {
      ++checksums;
    } else if (checksums > 0) {
      why = "a compressor after a checksum is not supported";
      return false;
    } else if (!choose(name, why)) {
      return false;
    }
  }
  if (sawBytes) return true;
  why = "its codecs have no \"bytes\" codec";
  return false;
}

bool LdaCodecPipeline::decode(std::vector<unsigned char>& stored, unsigned char* out, size_t outBytes) const {
  for (int i = 0; i < checksums; ++i) {  // each checksum covers what came before it
    if (stored.size() < 4) return false;
    const size_t body = stored.size() - 4;
    if (crc32c(stored.data(), body) != littleEndian32(stored.data() + body)) return false;
    stored.resize(body);
  }
  switch (kind) {
    case CODEC: return codec->decompress(stored.data(), stored.size(), out, outBytes);
    case GZIP: return gunzip(stored, out, outBytes);
    case NONE: break;
  }
  if (stored.size() != outBytes) return false;
  std::memcpy(out, stored.data(), outBytes);
  return true;
}

// Every codec here adds well under a sixteenth plus a fixed header to data it
// cannot shrink.
int64_t LdaCodecPipeline::largestStream(size_t chunkBytes) const {
  const int64_t bytes = static_cast<int64_t>(chunkBytes);
  return (kind == NONE ? bytes : bytes + bytes / 16 + 65536) + 4 * checksums;
}
