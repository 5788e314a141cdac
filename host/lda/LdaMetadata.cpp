#include "host/lda/LdaMetadata.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "host/base/TbFileContents.h"
#include "host/lda/LdaCodecs.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaStoreFolder.h"

using nlohmann::json;

namespace {

float spacing(const LdaLayout& layout, const float* box, int axis) {
  const int n = layout.levels[0].dims[axis];
  return n > 1 ? (box[2 * axis + 1] - box[2 * axis]) / static_cast<float>(n - 1) : 1.0f;
}

// Values of x, y, z in the arrays' axis order: [c,] z, y, x.
json axisOrder(const LdaLayout& layout, json channel, const json& x, const json& y, const json& z) {
  json values = json::array();
  if (layout.hasChannelAxis()) values.push_back(std::move(channel));
  values.push_back(z);
  values.push_back(y);
  values.push_back(x);
  return values;
}

// Where level L's first sample lies: averaged, it is the mean of a cell of
// `factor` level-0 samples, so half a cell less one sample from the box's
// minimum; picked, it is the cell's first sample.
json translationOf(const LdaLayout& layout, const LdaStoreSettings& settings, const LdaLevel& level) {
  json at[3];
  for (int a = 0; a < 3; ++a) {
    const float shift = settings.sampling == LDA_AVERAGE ? 0.5f * static_cast<float>(level.factor[a] - 1) : 0.0f;
    at[a] = shortestNumber(settings.box[2 * a] + spacing(layout, settings.box, a) * shift);
  }
  return axisOrder(layout, 0, at[0], at[1], at[2]);
}

json downsampling(const LdaStoreSettings& settings) {
  const bool mean = settings.sampling == LDA_AVERAGE;
  return {{"method", "uxdiskdata"},
          {"description", mean ? "each sample of a level is the mean of the 2 x 2 x 2 samples of the level below "
                                 "it that lie in the volume (fewer at an odd edge), rounded half to even for integers"
                               : "each sample of a level is the first sample of the 2 x 2 x 2 samples of the level "
                                 "below it"},
          {"kwargs", {{"cell", {2, 2, 2}}, {"sampling", mean ? "Average" : "Sharp"}}}};
}

json multiscale(const LdaLayout& layout, const LdaStoreSettings& settings) {
  json axes = axisOrder(layout, {{"name", "c"}, {"type", "channel"}}, {{"name", "x"}, {"type", "space"}},
                        {{"name", "y"}, {"type", "space"}}, {{"name", "z"}, {"type", "space"}});
  json datasets = json::array();
  for (int level = 0; level < layout.numLevels(); ++level) {
    const LdaLevel& shape = layout.levels[level];
    json scale[3];
    for (int a = 0; a < 3; ++a) scale[a] = shortestNumber(spacing(layout, settings.box, a) * shape.factor[a]);
    datasets.push_back({{"path", std::to_string(level)},
                        {"coordinateTransformations",
                         {{{"type", "scale"}, {"scale", axisOrder(layout, 1, scale[0], scale[1], scale[2])}},
                          {{"type", "translation"}, {"translation", translationOf(layout, settings, shape)}}}}});
  }
  json entry = {{"name", settings.name},
                {"axes", axes},
                {"datasets", datasets},
                {"type", settings.sampling == LDA_AVERAGE ? "mean" : "nearest"},
                {"metadata", downsampling(settings)}};
  if (!layout.sharded()) entry["version"] = "0.4";
  return entry;
}

json projectAttributes(const LdaLayout& layout, const LdaStoreSettings& settings) {
  json source = settings.source;
  source["box"] = json::array();
  for (float value : settings.box) source["box"].push_back(shortestNumber(value));
  return {{"tileSize", layout.tileSize},
          {"borderSize", settings.borderSize},
          {"samplingType", settings.sampling == LDA_SHARP ? "Sharp" : "Average"},
          {"source", source}};
}

json version2Array(const LdaLayout& layout, const LdaStoreSettings& settings, int level) {
  const LdaLevel& shape = layout.levels[level];
  return {{"zarr_format", 2},
          {"shape", axisOrder(layout, layout.nDataVar, shape.dims[0], shape.dims[1], shape.dims[2])},
          {"chunks", axisOrder(layout, 1, shape.chunk[0], shape.chunk[1], shape.chunk[2])},
          {"dtype", zarrDtype(layout.primType)},
          {"compressor", zarrCompressorEntry(settings.codec)},
          {"fill_value", 0},
          {"order", "C"},
          {"filters", nullptr},
          {"dimension_separator", "/"}};
}

json bytesCodec(const LdaLayout& layout) {
  if (layout.primType.size() == 1) return {{"name", "bytes"}};
  return {{"name", "bytes"}, {"configuration", {{"endian", "little"}}}};
}

// A version 3 array whose chunks are shards of inner chunks, each inner chunk
// compressed, the index (little-endian numbers and a CRC-32C) at the end.
json version3Array(const LdaLayout& layout, const LdaStoreSettings& settings, int level) {
  const LdaLevel& shape = layout.levels[level];
  json inner = json::array({bytesCodec(layout)});
  if (settings.codec) inner.push_back(zarr3CodecEntry(*settings.codec, layout.primType.size()));
  const json sharding = {
      {"name", "sharding_indexed"},
      {"configuration",
       {{"chunk_shape", axisOrder(layout, 1, shape.chunk[0], shape.chunk[1], shape.chunk[2])},
        {"codecs", inner},
        {"index_codecs", {{{"name", "bytes"}, {"configuration", {{"endian", "little"}}}}, {{"name", "crc32c"}}}},
        {"index_location", "end"}}}};
  return {{"zarr_format", 3},
          {"node_type", "array"},
          {"shape", axisOrder(layout, layout.nDataVar, shape.dims[0], shape.dims[1], shape.dims[2])},
          {"data_type", zarrDataType(layout.primType)},
          {"chunk_grid",
           {{"name", "regular"},
            {"configuration",
             {{"chunk_shape", axisOrder(layout, 1, shape.shardEdge(0), shape.shardEdge(1), shape.shardEdge(2))}}}}},
          {"chunk_key_encoding", {{"name", "default"}, {"configuration", {{"separator", "/"}}}}},
          {"fill_value", 0},
          {"codecs", {sharding}},
          {"dimension_names", axisOrder(layout, "c", "x", "y", "z")},
          {"attributes", json::object()}};
}

bool store(const LdaStoreFolder& folder, const std::string& name, const json& content, std::string& why) {
  const std::string text = content.dump(2) + "\n";
  std::string reason;
  if (writeFileDurably(folder.path() + "/" + name, text.data(), text.size(), reason)) return true;
  why = name + ": " + reason;
  return false;
}

}  // namespace

json shortestNumber(float value) {
  if (std::isfinite(value) && value == std::nearbyint(value) && std::fabs(value) < 9.0e15f)
    return static_cast<int64_t>(value);
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text - 1, value).ptr;
  *end = '\0';
  return std::strtod(text, nullptr);
}

bool writeLdaMetadata(LdaStoreFolder& folder, const LdaLayout& layout, const LdaStoreSettings& settings,
                      std::string& why) {
  const json multiscales = json::array({multiscale(layout, settings)});
  const json own = projectAttributes(layout, settings);
  const bool version3 = layout.sharded();
  if (version3) {
    const json group = {{"zarr_format", 3},
                        {"node_type", "group"},
                        {"attributes", {{"ome", {{"version", "0.5"}, {"multiscales", multiscales}}}, {"uxdiskdata", own}}}};
    if (!store(folder, "zarr.json", group, why)) return false;
  } else if (!store(folder, ".zgroup", {{"zarr_format", 2}}, why) ||
             !store(folder, ".zattrs", {{"multiscales", multiscales}, {"uxdiskdata", own}}, why)) {
    return false;
  }
  for (int level = 0; level < layout.numLevels(); ++level) {
    const std::string key = std::to_string(level);
    const json array = version3 ? version3Array(layout, settings, level) : version2Array(layout, settings, level);
    if (!folder.makeFolder(key, why) || !store(folder, key + (version3 ? "/zarr.json" : "/.zarray"), array, why))
      return false;
  }
  return true;
}
