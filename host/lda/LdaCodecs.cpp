#include "host/lda/LdaCodecs.h"

#include <Inventor/lists/SoTypeList.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "host/codecs/SoDataCompressors.h"

namespace {

struct ZarrCodecName {
  const char* name;       // the host codec's name, also numcodecs' id
  const char* levelWord;  // numcodecs' name of its level setting
};

const ZarrCodecName kZarrCodecs[] = {{"zlib", "level"}, {"zstd", "level"}, {"lz4", "acceleration"}};

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

nlohmann::json zarrCompressorEntry(const SoDataCompressor* codec) {
  if (!codec) return nullptr;
  const SbString name = codec->getCompressorName();
  return {{"id", name.getString()},
          {zarrNameOf(name.getString())->levelWord, codec->getCompressionLevel()}};
}

bool codecOfCompressorEntry(const nlohmann::json& entry, LdaCodec& codec, std::string& why) {
  codec.reset();
  if (entry.is_null()) return true;
  const auto id = entry.is_object() ? entry.find("id") : entry.end();
  if (!entry.is_object() || id == entry.end() || !id->is_string()) {
    why = "its compressor entry names no codec";
    return false;
  }
  const std::string name = id->get<std::string>();
  codec = ldaCodecByName(name.c_str());
  if (codec) return true;
  why = "compressor \"" + name + "\" is not supported (" + ldaCodecNames() + " or none)";
  return false;
}
