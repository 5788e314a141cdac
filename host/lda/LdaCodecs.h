#pragma once
// LdaCodecs: the host's registered data compressors as Zarr arrays name them.
//
// An lda store compresses its chunks with one of the host's codecs, found by
// the name the user picks (the SoDataCompressor type system lists them), and
// records it the way numcodecs and zarr-python do: in a version 2 array's
// "compressor" entry ({"id": "zstd", "level": 3}, {"id": "blosc", "cname":
// "lz4", "clevel": 5, "shuffle": 1, "blocksize": 0}, ...) or as a version 3
// codec ({"name": "zstd", "configuration": {"level": 3, "checksum": true}};
// zlib and lz4, which have no codec of Zarr's own, under numcodecs' names
// "numcodecs.zlib" and "numcodecs.lz4"). Only codecs numcodecs knows by the
// same name can go into a store. Lookups answer null rather than fail
// loudly; the callers word the message.
#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <string>

#include "host/codecs/SoDataCompressor.h"

using LdaCodec = std::unique_ptr<SoDataCompressor>;

// The registered codec of that name (compared exactly) that a store can
// hold; null when there is none.
LdaCodec ldaCodecByName(const char* name);
// The names ldaCodecByName accepts, in registration order: "zlib, zstd, lz4, blosc".
std::string ldaCodecNames();
// A version 2 array's "compressor" entry for a codec; JSON null for none.
nlohmann::json zarrCompressorEntry(const SoDataCompressor* codec);
// A version 3 array's codec entry for a codec (given its element size).
nlohmann::json zarr3CodecEntry(const SoDataCompressor& codec, int elementBytes);
