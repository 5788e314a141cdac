#include "host/lda/LdaArrayMetadata.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "host/base/TbFileContents.h"
#include "host/lda/LdaJson.h"
#include "host/lda/LdaStore.h"

using nlohmann::json;

namespace {

const long long kMaxAxisSamples = INT32_MAX;
const long long kMaxShardChunks = 1 << 20;

// The range of an integer host type, for checking fill values.
void integerRange(const LdaStoredElement& element, double& lowest, double& highest) {
  const int bits = 8 * element.bytes;
  lowest = element.kind == 'i' ? -std::ldexp(1.0, bits - 1) : 0.0;
  highest = element.kind == 'b' ? 1.0 : std::ldexp(1.0, element.kind == 'i' ? bits - 1 : bits) - 1.0;
}

// The fill value, which must be one the element type can hold. Zarr writes
// the non-finite floats as strings, version 2 "none" as null.
bool readFillValue(const json* value, const LdaStoredElement& element, double& fill) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string text = jsonText(value);
  const bool isFloat = element.kind == 'f';
  if (!value || value->is_null()) fill = 0.0;
  else if (value->is_boolean()) fill = value->get<bool>() ? 1.0 : 0.0;
  else if (value->is_number()) fill = value->get<double>();
  else if (isFloat && text == "NaN") return fill = std::numeric_limits<double>::quiet_NaN(), true;
  else if (isFloat && (text == "Infinity" || text == "-Infinity")) return fill = text[0] == '-' ? -infinity : infinity, true;
  else return false;
  if (isFloat) return element.bytes == 8 || std::fabs(fill) <= std::numeric_limits<float>::max();
  double lowest, highest;
  integerRange(element, lowest, highest);
  return fill == std::floor(fill) && fill >= lowest && fill <= highest;
}

// The decoded bytes of one chunk, refused above the host's limit.
bool chunkElementsOf(const std::vector<long long>& chunks, size_t elementBytes, size_t& elements) {
  elements = 1;
  for (long long extent : chunks) {
    if (static_cast<unsigned long long>(extent) > kLdaMaxChunkBytes / elementBytes / elements) return false;
    elements *= static_cast<size_t>(extent);
  }
  return elements * elementBytes <= kLdaMaxChunkBytes;
}

struct Reader {
  const std::string& key;
  const LdaAxes& axes;
  LdaStoredLevel& level;
  std::string& why;
  std::string file;

  bool fail(const std::string& what) {
    why = key + "/" + file + ": " + what;
    return false;
  }

  bool shapeAndChunks(const json* shape, const std::vector<long long>& chunks) {
    if (!jsonIntegers(shape, axes.count, 0, kMaxAxisSamples, level.shape) ||
        static_cast<int>(chunks.size()) != axes.count)
      return fail("its shape or chunks are not " + std::to_string(axes.count) + " counts");
    if (!chunkElementsOf(chunks, level.element.bytes, level.chunkElements))
      return fail("its chunks are larger than the " + std::to_string(kLdaMaxChunkBytes >> 20) + " MiB this host reads");
    level.chunks.assign(chunks.begin(), chunks.end());
    return true;
  }

  bool fillValue(const json* value, const std::string& type) {
    if (readFillValue(value, level.element, level.fillValue)) return true;
    return fail("fill_value " + jsonBrief(value) + " does not fit " + type);
  }

  bool version2(const json& array) {
    const json* format = jsonMember(array, "zarr_format");
    if (!format || *format != 2) return fail("not a Zarr version 2 array");
    std::vector<long long> chunks;
    const std::string dtype = jsonText(jsonMember(array, "dtype"));
    if (!storedElementOfDtype(dtype, level.element))
      return fail("dtype " + jsonBrief(jsonMember(array, "dtype")) + " is not supported");
    if (!jsonIntegers(jsonMember(array, "chunks"), axes.count, 1, kMaxAxisSamples, chunks) ||
        !shapeAndChunks(jsonMember(array, "shape"), chunks))
      return !why.empty() ? false : fail("its shape or chunks are not " + std::to_string(axes.count) + " counts");
    if (jsonText(jsonMember(array, "order")) != "C") return fail("only C order is supported");
    const json* filters = jsonMember(array, "filters");
    if (filters && !filters->is_null() && !(filters->is_array() && filters->empty()))
      return fail("filters are not supported");
    std::string codecWhy;
    if (!level.pipeline.readVersion2(jsonMember(array, "compressor"), codecWhy)) return fail(codecWhy);
    const json* separator = jsonMember(array, "dimension_separator");
    const std::string mark = separator ? jsonText(separator) : ".";
    if (mark != "/" && mark != ".") return fail("dimension_separator must be \"/\" or \".\"");
    level.separator = mark[0];
    return fillValue(jsonMember(array, "fill_value"), "dtype " + dtype);
  }

  bool keyEncoding(const json* encoding) {
    const std::string name = encoding ? jsonText(jsonMember(*encoding, "name")) : "default";
    const json* configuration = encoding ? jsonMember(*encoding, "configuration") : nullptr;
    const json* separator = configuration ? jsonMember(*configuration, "separator") : nullptr;
    const std::string mark = separator ? jsonText(separator) : name == "v2" ? "." : "/";
    if ((name != "default" && name != "v2") || (mark != "/" && mark != "."))
      return fail("chunk_key_encoding must be \"default\" or \"v2\" with \"/\" or \".\"");
    level.separator = mark[0];
    level.keyPrefix = name == "default" ? "c" + mark : "";
    return true;
  }

  // The sharding codec, the array's only array-to-bytes codec: its inner
  // chunks, their codecs, and an index of fixed size (bytes, crc32c).
  bool sharding(const json& codec, std::vector<long long>& chunks) {
    const json* configuration = jsonMember(codec, "configuration");
    std::vector<long long> inner;
    if (!configuration || !jsonIntegers(jsonMember(*configuration, "chunk_shape"), axes.count, 1, kMaxAxisSamples, inner))
      return fail("its sharding codec gives no chunk shape of " + std::to_string(axes.count) + " counts");
    long long perShard = 1;
    for (int a = 0; a < axes.count; ++a) {
      if (chunks[a] % inner[a] != 0) return fail("its shards are not whole multiples of their chunks");
      level.shardChunks.push_back(static_cast<int>(chunks[a] / inner[a]));
      perShard *= chunks[a] / inner[a];
      if (perShard > kMaxShardChunks) return fail("its shards hold more than 2^20 chunks");
    }
    const json* codecs = jsonMember(*configuration, "codecs");
    const json* indexCodecs = jsonMember(*configuration, "index_codecs");
    std::string codecWhy;
    if (!codecs || !level.pipeline.readVersion3(*codecs, codecWhy)) return fail(codecWhy);
    if (indexCodecs && !index(*indexCodecs)) return false;
    const std::string location = jsonText(jsonMember(*configuration, "index_location"));
    if (!location.empty() && location != "end" && location != "start")
      return fail("index_location must be \"start\" or \"end\"");
    level.indexAtEnd = location != "start";
    level.sharded = true;
    chunks = inner;
    return true;
  }

  bool index(const json& codecs) {
    if (!codecs.is_array() || codecs.empty() || codecs.size() > 4) return fail("its index codecs are not bytes and crc32c");
    for (size_t i = 0; i < codecs.size(); ++i) {
      const json& entry = codecs[i];
      const std::string name = entry.is_string() ? entry.get<std::string>() : jsonText(jsonMember(entry, "name"));
      const json* configuration = jsonMember(entry, "configuration");
      const bool little = !configuration || jsonText(jsonMember(*configuration, "endian")) != "big";
      if (i == 0 && name == "bytes" && little) continue;
      if (i > 0 && name == "crc32c") {
        ++level.indexChecksums;
        continue;
      }
      return fail("its index codecs are not little-endian bytes and crc32c");
    }
    return true;
  }

  bool version3(const json& array) {
    const json* format = jsonMember(array, "zarr_format");
    if (!format || *format != 3 || jsonText(jsonMember(array, "node_type")) != "array")
      return fail("not a Zarr version 3 array");
    const json* transformers = jsonMember(array, "storage_transformers");
    if (transformers && !(transformers->is_array() && transformers->empty()))
      return fail("storage transformers are not supported");
    const json* grid = jsonMember(array, "chunk_grid");
    const json* gridConfiguration = grid ? jsonMember(*grid, "configuration") : nullptr;
    std::vector<long long> chunks;
    if (!grid || jsonText(jsonMember(*grid, "name")) != "regular" || !gridConfiguration ||
        !jsonIntegers(jsonMember(*gridConfiguration, "chunk_shape"), axes.count, 1, kMaxAxisSamples, chunks))
      return fail("its chunk grid is not a regular grid of " + std::to_string(axes.count) + " counts");
    if (!keyEncoding(jsonMember(array, "chunk_key_encoding"))) return false;
    const json* codecs = jsonMember(array, "codecs");
    std::string codecWhy;
    const bool sharded = codecs && codecs->is_array() && codecs->size() == 1 &&
                         jsonText(jsonMember((*codecs)[0], "name")) == "sharding_indexed";
    if (sharded ? !sharding((*codecs)[0], chunks) : !codecs || !level.pipeline.readVersion3(*codecs, codecWhy))
      return why.empty() ? fail(codecWhy) : false;
    const std::string dataType = jsonText(jsonMember(array, "data_type"));
    if (!storedElementOfDataType(dataType, level.pipeline.bigEndian, level.element))
      return fail("data_type " + jsonBrief(jsonMember(array, "data_type")) + " is not supported");
    return shapeAndChunks(jsonMember(array, "shape"), chunks) &&
           fillValue(jsonMember(array, "fill_value"), "data_type " + dataType);
  }
};

}  // namespace

bool readMetadataFile(const std::string& path, const std::string& name, json& out, std::string& why) {
  std::vector<unsigned char> text;
  std::string reason;
  const TbFileRead read = readRegularFile(path, kLdaMaxMetadataBytes, text, reason);
  if (read == TbFileRead::OK && parseJsonObject(text, out, reason)) return true;
  why = read == TbFileRead::MISSING ? "it has no " + name : name + " " + reason;
  return false;
}

bool readArrayMetadata(const std::string& root, const std::string& key, int zarrVersion, const LdaAxes& axes,
                       LdaStoredLevel& level, std::string& why) {
  Reader reader{key, axes, level, why, zarrVersion == 3 ? "zarr.json" : ".zarray"};
  json array;
  if (!readMetadataFile(root + "/" + key + "/" + reader.file, key + "/" + reader.file, array, why)) return false;
  if (!(zarrVersion == 3 ? reader.version3(array) : reader.version2(array))) return false;
  level.folder = root + "/" + key;
  for (int a = 0; a < 3; ++a) level.dims[a] = axes.space[a] >= 0 ? static_cast<int>(level.shape[axes.space[a]]) : 1;
  return true;
}
