// LdaStore::open: the metadata of an OME-Zarr image, read as untrusted text.
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/base/TbFileContents.h"
#include "host/base/TbFileIO.h"
#include "host/lda/LdaJson.h"
#include "host/lda/LdaLayout.h"
#include "host/lda/LdaStore.h"

using nlohmann::json;

namespace {

const size_t kMaxDatasets = 32;
const long long kMaxChannels = 4096;
const long long kMaxAxisSamples = INT32_MAX;

bool readMetadata(const std::string& path, const std::string& name, json& out, std::string& why) {
  std::vector<unsigned char> text;
  std::string reason;
  const TbFileRead read = readRegularFile(path, kLdaMaxMetadataBytes, text, reason);
  if (read == TbFileRead::OK && parseJsonObject(text, out, reason)) return true;
  why = read == TbFileRead::MISSING ? "it has no " + name : name + " " + reason;
  return false;
}

// Roles of the axes: t and c may lead, z, y, x close the list in that order.
struct Axes {
  int count = 0;
  int space[3] = {-1, -1, -1};  // x, y, z
  int channel = -1;
  int time = -1;
};

bool readAxes(const json* list, Axes& axes, std::string& why) {
  if (!list || !list->is_array() || list->size() < 3 || list->size() > 5) {
    why = "its axes are not 3 to 5 named axes";
    return false;
  }
  axes.count = static_cast<int>(list->size());
  for (int i = 0; i < axes.count; ++i) {
    const json& axis = (*list)[i];
    const std::string name = axis.is_string() ? axis.get<std::string>() : jsonText(jsonMember(axis, "name"));
    const std::string type = jsonText(jsonMember(axis, "type"));
    const json* given = jsonMember(axis, "type");
    if (given && !given->is_string()) {
      why = "axis " + jsonBrief(jsonMember(axis, "name")) + " has a type that is not a string";
      return false;
    }
    const int fromEnd = axes.count - 1 - i;
    if (fromEnd < 3 && name == std::string(1, "xyz"[fromEnd])) {
      axes.space[fromEnd] = i;
    } else if (fromEnd == 3 && (type == "channel" || name == "c")) {
      axes.channel = i;
    } else if (i == 0 && (type == "time" || name == "t")) {
      axes.time = i;
    } else {
      why = "axis " + jsonBrief(axis.is_string() ? &axis : jsonMember(axis, "name")) +
            " is not supported (expected [t,] [c,] z, y, x)";
      return false;
    }
  }
  return true;
}

// The scale and translation of a transformation list, one value per axis.
bool readTransforms(const json* list, size_t count, std::vector<double>& scale,
                    std::vector<double>& translation, std::string& why) {
  scale.assign(count, 1.0);
  translation.assign(count, 0.0);
  if (!list || list->is_null()) return true;
  if (!list->is_array() || list->size() > 8) {
    why = "its coordinateTransformations are not a list";
    return false;
  }
  for (const json& transform : *list) {
    const std::string type = jsonText(jsonMember(transform, "type"));
    if (type == "identity") continue;
    const bool isScale = type == "scale";
    std::vector<double> values;
    if (!(isScale || type == "translation") || !jsonNumbers(jsonMember(transform, type.c_str()), count, values) ||
        (isScale && std::any_of(values.begin(), values.end(), [](double v) { return !(v > 0); }))) {
      why = "a coordinate transformation is not a scale (positive) or translation of " +
            std::to_string(count) + " numbers";
      return false;
    }
    (isScale ? scale : translation) = values;
  }
  return true;
}

// The range of an integer element type.
void integerRange(TbPrimType type, double& lowest, double& highest) {
  const int bits = 8 * type.size();
  const bool isSigned = type == TbPrimType::INT16 || type == TbPrimType::INT32;
  lowest = isSigned ? -std::ldexp(1.0, bits - 1) : 0.0;
  highest = std::ldexp(1.0, isSigned ? bits - 1 : bits) - 1.0;
}

// The fill value, which must be one the element type can hold. Zarr writes
// null for "none", and the non-finite floats as strings.
bool readFillValue(const json* value, TbPrimType type, double& fill) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string text = jsonText(value);
  const bool isFloat = type == TbPrimType::FLOAT || type == TbPrimType::DOUBLE;
  if (!value || value->is_null()) fill = 0.0;
  else if (value->is_number()) fill = value->get<double>();
  else if (isFloat && text == "NaN") return fill = std::numeric_limits<double>::quiet_NaN(), true;
  else if (isFloat && (text == "Infinity" || text == "-Infinity")) return fill = text[0] == '-' ? -infinity : infinity, true;
  else return false;
  if (isFloat) return type == TbPrimType::DOUBLE || std::fabs(fill) <= std::numeric_limits<float>::max();
  double lowest, highest;
  integerRange(type, lowest, highest);
  return fill == std::floor(fill) && fill >= lowest && fill <= highest;
}

// The decoded bytes of one chunk, refused above the host's limit.
bool chunkBytesOf(const std::vector<long long>& chunks, size_t elementBytes, size_t& bytes) {
  bytes = elementBytes;
  for (long long extent : chunks) {
    if (static_cast<unsigned long long>(extent) > kLdaMaxChunkBytes / bytes) return false;
    bytes *= static_cast<size_t>(extent);
  }
  return bytes <= kLdaMaxChunkBytes;
}

bool readArray(const std::string& folder, const std::string& key, const Axes& axes,
               LdaStoredLevel& level, TbPrimType& type, std::string& why) {
  json array;
  if (!readMetadata(folder + "/.zarray", key + "/.zarray", array, why)) return false;
  const auto fail = [&](const std::string& what) {
    why = key + "/.zarray: " + what;
    return false;
  };
  const json* format = jsonMember(array, "zarr_format");
  if (!format || *format != 2) return fail("not a Zarr version 2 array");
  std::vector<long long> chunks;
  if (!jsonIntegers(jsonMember(array, "shape"), axes.count, 0, kMaxAxisSamples, level.shape) ||
      !jsonIntegers(jsonMember(array, "chunks"), axes.count, 1, kMaxAxisSamples, chunks))
    return fail("its shape or chunks are not " + std::to_string(axes.count) + " counts");
  if (!primTypeOfDtype(jsonText(jsonMember(array, "dtype")), type, level.bigEndian))
    return fail("dtype " + jsonBrief(jsonMember(array, "dtype")) + " is not supported");
  if (!chunkBytesOf(chunks, type.size(), level.chunkBytes))
    return fail("its chunks are larger than the " + std::to_string(kLdaMaxChunkBytes >> 20) + " MiB this host reads");
  if (jsonText(jsonMember(array, "order")) != "C") return fail("only C order is supported");
  const json* filters = jsonMember(array, "filters");
  if (filters && !filters->is_null() && !(filters->is_array() && filters->empty()))
    return fail("filters are not supported");
  LdaCodec codec;
  std::string codecWhy;
  const json* compressor = jsonMember(array, "compressor");
  if (!codecOfCompressorEntry(compressor ? *compressor : json(), codec, codecWhy)) return fail(codecWhy);
  level.codec = std::move(codec);
  const json* separator = jsonMember(array, "dimension_separator");
  const std::string mark = separator ? jsonText(separator) : ".";
  if (mark != "/" && mark != ".") return fail("dimension_separator must be \"/\" or \".\"");
  level.separator = mark[0];
  if (!readFillValue(jsonMember(array, "fill_value"), type, level.fillValue))
    return fail("fill_value " + jsonBrief(jsonMember(array, "fill_value")) + " does not fit dtype " +
                jsonText(jsonMember(array, "dtype")));
  level.folder = folder;
  level.chunks.assign(chunks.begin(), chunks.end());
  for (int a = 0; a < 3; ++a) level.dims[a] = static_cast<int>(level.shape[axes.space[a]]);
  return true;
}

// A dataset path names a folder inside the store: plain names, no "..".
bool isInsidePath(const std::string& path) {
  if (path.empty() || path.size() > 255 || path[0] == '/') return false;
  size_t start = 0;
  while (start <= path.size()) {
    const size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    if (part.empty() || part == "." || part == "..") return false;
    for (unsigned char c : part)
      if (c < 0x20 || c == 0x7f) return false;
    start = end + 1;
  }
  return true;
}

// The power of two the level's spacing is of level 0's along one axis; -1 if none.
int shiftOf(double scale, double baseScale) {
  const double ratio = scale / baseScale;
  if (!std::isfinite(ratio) || !(ratio >= 1.0)) return -1;
  const int shift = static_cast<int>(std::lround(std::log2(ratio)));
  return shift < 31 && std::fabs(ratio - std::ldexp(1.0, shift)) <= 1e-4 * ratio ? shift : -1;
}

struct Image {
  Axes axes;
  const json* datasets = nullptr;
  std::vector<double> outerScale, outerTranslation;
};

bool readImage(const json& attributes, Image& image, std::string& why) {
  const json* list = jsonMember(attributes, "multiscales");
  if (!list || !list->is_array() || list->empty() || !(*list)[0].is_object()) {
    why = ".zattrs holds no multiscales entry";
    return false;
  }
  const json& entry = (*list)[0];
  if (jsonText(jsonMember(entry, "version")) != "0.4") {
    why = "multiscales version " + jsonBrief(jsonMember(entry, "version")) + " is not 0.4";
    return false;
  }
  if (!readAxes(jsonMember(entry, "axes"), image.axes, why)) return false;
  image.datasets = jsonMember(entry, "datasets");
  if (!image.datasets || !image.datasets->is_array() || image.datasets->empty() ||
      image.datasets->size() > kMaxDatasets) {
    why = "multiscales lists no datasets, or more than " + std::to_string(kMaxDatasets);
    return false;
  }
  return readTransforms(jsonMember(entry, "coordinateTransformations"), image.axes.count,
                        image.outerScale, image.outerTranslation, why);
}

}  // namespace

std::unique_ptr<LdaStore> LdaStore::open(const std::string& path, std::string& why) {
  TbFileInfo info;
  if (TbFileIO::current().stat((path + "/zarr.json").c_str(), &info) == 0) {
    why = "Zarr version 3 stores are not supported";
    return nullptr;
  }
  json attributes;
  Image image;
  if (!readMetadata(path + "/.zattrs", ".zattrs", attributes, why) || !readImage(attributes, image, why))
    return nullptr;
  const Axes& axes = image.axes;
  std::unique_ptr<LdaStore> store(new LdaStore);
  std::copy(axes.space, axes.space + 3, store->axisOf);
  store->channelAxis = axes.channel;
  store->timeAxis = axes.time;
  std::vector<double> baseScale, baseTranslation;
  for (size_t i = 0; i < image.datasets->size(); ++i) {
    const json& dataset = (*image.datasets)[i];
    const std::string key = jsonText(jsonMember(dataset, "path"));
    std::vector<double> scale, translation;
    LdaStoredLevel level;
    TbPrimType type;
    if (!isInsidePath(key)) {
      why = "dataset path " + jsonBrief(jsonMember(dataset, "path")) + " does not name a folder inside the store";
      return nullptr;
    }
    if (!readTransforms(jsonMember(dataset, "coordinateTransformations"), axes.count, scale, translation, why) ||
        !readArray(path + "/" + key, key, axes, level, type, why))
      return nullptr;
    const long long components = axes.channel >= 0 ? level.shape[axes.channel] : 1;
    if (components < 1 || components > kMaxChannels) {
      why = key + "/.zarray: its channel axis holds " + std::to_string(components) + " channels (1 to " +
            std::to_string(kMaxChannels) + " are read)";
      return nullptr;
    }
    if (std::any_of(level.dims, level.dims + 3, [](int n) { return n < 1; })) {
      why = key + "/.zarray: an axis holds no samples";
      return nullptr;
    }
    if (i == 0) {
      store->primType = type;
      store->nDataVar = static_cast<int>(components);
      std::copy(level.dims, level.dims + 3, store->dims);
      baseScale = scale;
      baseTranslation = translation;
    } else if (type != store->primType || components != store->nDataVar) {
      why = "dataset " + key + " differs from the first in element type or channels";
      return nullptr;
    }
    if (axes.time >= 0 && level.shape[axes.time] != 1) {
      why = "time series are not supported";
      return nullptr;
    }
    bool usable = true;
    for (int a = 0; a < 3; ++a) {
      level.shift[a] = shiftOf(scale[axes.space[a]], baseScale[axes.space[a]]);
      usable = usable && level.shift[a] >= 0;
    }
    if (usable) store->levels.push_back(std::move(level));
  }
  for (int a = 0; a < 3; ++a) {
    const int axis = axes.space[a];
    const double spacing = baseScale[axis] * image.outerScale[axis];
    const double start = baseTranslation[axis] * image.outerScale[axis] + image.outerTranslation[axis];
    const double end = start + spacing * std::max(store->dims[a] - 1, 0);
    if (!(std::fabs(start) <= std::numeric_limits<float>::max() && std::fabs(end) <= std::numeric_limits<float>::max())) {
      why = "its coordinate transformations place it beyond the numbers a bounding box holds";
      return nullptr;
    }
    store->box[2 * a] = static_cast<float>(start);
    store->box[2 * a + 1] = static_cast<float>(end);
  }
  return store;
}
