#pragma once
// LdaCodecs: the host's registered data compressors as Zarr arrays name them.
//
// An lda store compresses its chunks with one of the host's codecs, found by
// the name the user picks (the SoDataCompressor type system lists them), and
// records it in each array's "compressor" entry the way numcodecs does:
// {"id": "zlib", "level": L}, {"id": "zstd", "level": L} or
// {"id": "lz4", "acceleration": A}. Only codecs numcodecs knows by the same
// name can go into a store. Lookups answer null rather than fail loudly; the
// callers word the message.
#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <string>

#include "host/codecs/SoDataCompressor.h"

using LdaCodec = std::unique_ptr<SoDataCompressor>;

// The registered codec of that name (compared exactly) that a store can
// hold; null when there is none.
LdaCodec ldaCodecByName(const char* name);
// The names ldaCodecByName accepts, in registration order: "zlib, zstd, lz4".
std::string ldaCodecNames();
// The array's "compressor" entry for a codec; JSON null for none.
nlohmann::json zarrCompressorEntry(const SoDataCompressor* codec);
// The codec a "compressor" entry names: true with a null codec for a JSON
// null; false, with `why` set, for an entry that is not one of ours.
bool codecOfCompressorEntry(const nlohmann::json& entry, LdaCodec& codec, std::string& why);
