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

json multiscales(const LdaLayout& layout, const LdaStoreSettings& settings) {
  json axes = axisOrder(layout, {{"name", "c"}, {"type", "channel"}}, {{"name", "x"}, {"type", "space"}},
                        {{"name", "y"}, {"type", "space"}}, {{"name", "z"}, {"type", "space"}});
  const json translation = axisOrder(layout, 0, shortestNumber(settings.box[0]),
                                     shortestNumber(settings.box[2]), shortestNumber(settings.box[4]));
  json datasets = json::array();
  for (int level = 0; level < layout.numLevels(); ++level) {
    const float factor = std::ldexp(1.0f, level);
    json scale[3];
    for (int a = 0; a < 3; ++a) scale[a] = shortestNumber(spacing(layout, settings.box, a) * factor);
    datasets.push_back(
        {{"path", std::to_string(level)},
         {"coordinateTransformations",
          {{{"type", "scale"}, {"scale", axisOrder(layout, 1, scale[0], scale[1], scale[2])}},
           {{"type", "translation"}, {"translation", translation}}}}});
  }
  return json::array(
      {{{"version", "0.4"}, {"name", settings.name}, {"axes", axes}, {"datasets", datasets}}});
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

json arrayAttributes(const LdaLayout& layout, int level) {
  const LdaLevel& shape = layout.levels[level];
  return {{"zarr_format", 2},
          {"shape", axisOrder(layout, layout.nDataVar, shape.dims[0], shape.dims[1], shape.dims[2])},
          {"chunks", axisOrder(layout, 1, shape.chunk[0], shape.chunk[1], shape.chunk[2])},
          {"dtype", zarrDtype(layout.primType)},
          {"fill_value", 0},
          {"order", "C"},
          {"filters", nullptr},
          {"dimension_separator", "/"}};
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
  json attributes = {{"multiscales", multiscales(layout, settings)},
                     {"uxdiskdata", projectAttributes(layout, settings)}};
  if (!store(folder, ".zgroup", {{"zarr_format", 2}}, why) ||
      !store(folder, ".zattrs", attributes, why))
    return false;
  for (int level = 0; level < layout.numLevels(); ++level) {
    const std::string key = std::to_string(level);
    json array = arrayAttributes(layout, level);
    array["compressor"] = zarrCompressorEntry(settings.codec);
    if (!folder.makeFolder(key, why) || !store(folder, key + "/.zarray", array, why)) return false;
    for (int c = 0; layout.hasChannelAxis() && c < layout.nDataVar; ++c)
      if (!folder.makeFolder(key + "/" + std::to_string(c), why)) return false;
  }
  return true;
}
