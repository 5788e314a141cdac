#include "host/lda/LdaCodecs.h"

#include <Inventor/lists/SoTypeList.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "host/codecs/SoBloscCompressor.h"
#include "host/codecs/SoDataCompressors.h"

using nlohmann::json;

namespace {

struct ZarrCodecName {
  const char* name;       // the host codec's name, also numcodecs' id
  const char* levelWord;  // numcodecs' name of its level setting
  const char* version3;   // the name of a version 3 codec entry
};

const ZarrCodecName kZarrCodecs[] = {{"zlib", "level", "numcodecs.zlib"},
                                     {"zstd", "level", "zstd"},
                                     {"lz4", "acceleration", "numcodecs.lz4"},
                                     {"blosc", "clevel", "blosc"}};

const ZarrCodecName* zarrNameOf(const char* name) {
  for (const ZarrCodecName& known : kZarrCodecs)
    if (std::strcmp(known.name, name) == 0) return &known;
  return nullptr;
}

// Calls `visit` with every registered codec a store can hold, in type-system
// order, until it answers true; the codec it kept (moved out) is returned.
template <class Visit>
LdaCodec eachCodec(Visit visit) {
  initDataCompressors();
  SoTypeList types;
  SoType::getAllDerivedFrom(SoDataCompressor::getClassTypeId(), types);
  for (int i = 0; i < types.getLength(); ++i) {
    if (types[i] == SoDataCompressor::getClassTypeId() || !types[i].canCreateInstance()) continue;
    LdaCodec codec(static_cast<SoDataCompressor*>(types[i].createInstance()));
    if (!codec || !zarrNameOf(codec->getCompressorName().getString())) continue;
    if (visit(*codec)) return codec;
  }
  return nullptr;
}

bool isBlosc(const SoDataCompressor& codec) { return std::strcmp(codec.getCompressorName().getString(), "blosc") == 0; }

}  // namespace

LdaCodec ldaCodecByName(const char* name) {
  if (!name) return nullptr;
  return eachCodec([name](const SoDataCompressor& codec) {
    return std::strcmp(codec.getCompressorName().getString(), name) == 0;
  });
}

std::string ldaCodecNames() {
  std::string names;
  eachCodec([&names](const SoDataCompressor& codec) {
    names += (names.empty() ? "" : ", ") + std::string(codec.getCompressorName().getString());
    return false;
  });
  return names;
}

json zarrCompressorEntry(const SoDataCompressor* codec) {
  if (!codec) return nullptr;
  const SbString name = codec->getCompressorName();
  json entry = {{"id", name.getString()}, {zarrNameOf(name.getString())->levelWord, codec->getCompressionLevel()}};
  if (isBlosc(*codec)) {
    entry["cname"] = SoBloscCompressor::innerCodec;
    entry["shuffle"] = SoBloscCompressor::shuffle;
    entry["blocksize"] = SoBloscCompressor::blockSize;
  }
  return entry;
}

json zarr3CodecEntry(const SoDataCompressor& codec, int elementBytes) {
  const ZarrCodecName* known = zarrNameOf(codec.getCompressorName().getString());
  json configuration = {{known->levelWord, codec.getCompressionLevel()}};
  if (std::strcmp(known->name, "zstd") == 0) configuration["checksum"] = true;
  if (isBlosc(codec)) {
    configuration["cname"] = SoBloscCompressor::innerCodec;
    configuration["shuffle"] = "shuffle";
    configuration["typesize"] = elementBytes;
    configuration["blocksize"] = SoBloscCompressor::blockSize;
  }
  return {{"name", known->version3}, {"configuration", configuration}};
}
