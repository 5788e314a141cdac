// LdaStore::open: the image of an OME-Zarr group, read as untrusted text.
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/base/TbFileIO.h"
#include "host/lda/LdaArrayMetadata.h"
#include "host/lda/LdaJson.h"
#include "host/lda/LdaStore.h"

using nlohmann::json;

namespace {

const size_t kMaxDatasets = 32;
const long long kMaxChannels = 4096;

bool isFile(const std::string& path) {
  TbFileInfo info;
  return TbFileIO::current().stat(path.c_str(), &info) == 0 && info.kind == TbFileInfo::REGULAR;
}

// Roles of the axes, named from the end: x, y, then z (optional), c, t.
bool readAxes(const json* list, LdaAxes& axes, std::string& why) {
  if (!list || !list->is_array() || list->size() < 2 || list->size() > 5) {
    why = "its axes are not 2 to 5 named axes";
    return false;
  }
  axes.count = static_cast<int>(list->size());
  int next = 0;  // the role the next axis from the end may take: x, y, z, c, t
  for (int i = axes.count - 1; i >= 0; --i) {
    const json& axis = (*list)[i];
    const json* given = jsonMember(axis, "type");
    if (given && !given->is_string()) {
      why = "axis " + jsonBrief(jsonMember(axis, "name")) + " has a type that is not a string";
      return false;
    }
    const std::string name = axis.is_string() ? axis.get<std::string>() : jsonText(jsonMember(axis, "name"));
    const std::string type = jsonText(given);
    if (next < 3 && name == std::string(1, "xyz"[next])) {
      axes.space[next++] = i;
    } else if (next >= 2 && next <= 3 && (type == "channel" || name == "c")) {
      axes.channel = i;
      next = 4;
    } else if (next >= 2 && i == 0 && (type == "time" || name == "t")) {
      axes.time = i;
      next = 5;
    } else {
      why = "axis " + jsonBrief(axis.is_string() ? &axis : jsonMember(axis, "name")) +
            " is not supported (expected [t,] [c,] [z,] y, x)";
      return false;
    }
  }
  if (axes.space[1] >= 0) return true;
  why = "its axes have no y and x";
  return false;
}

// The scale and translation of a transformation list, one value per axis.
bool readTransforms(const json* list, size_t count, std::vector<double>& scale, std::vector<double>& translation,
                    std::string& why) {
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
      why = "a coordinate transformation is not a scale (positive) or translation of " + std::to_string(count) +
            " numbers";
      return false;
    }
    (isScale ? scale : translation) = values;
  }
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

// The whole number the level's spacing is of level 0's along one axis; 0 if none.
int factorOf(double scale, double baseScale) {
  const double ratio = scale / baseScale;
  if (!std::isfinite(ratio) || !(ratio >= 1.0) || ratio > INT32_MAX) return 0;
  const double whole = std::round(ratio);
  return std::fabs(ratio - whole) <= 1e-4 * ratio ? static_cast<int>(whole) : 0;
}

// Where the image is and which of its first multiscale entry to read.
struct Image {
  std::string root;
  int zarrVersion = 2;
  json attributes;  // the OME-Zarr attributes: .zattrs, or zarr.json's "attributes"["ome"]
  const json* entry = nullptr;
  LdaAxes axes;
  std::vector<double> outerScale, outerTranslation;
};

// The attributes holding the image at `root`, or at its subfolder "0" when the
// root only names a converter's layout.
bool findImage(const std::string& path, Image& image, std::string& why, bool seriesZero = false) {
  image.root = path;
  json group;
  const bool version3 = isFile(path + "/zarr.json");
  image.zarrVersion = version3 ? 3 : 2;
  if (version3) {
    if (!readMetadataFile(path + "/zarr.json", "zarr.json", group, why)) return false;
    const json* attributes = jsonMember(group, "attributes");
    const json* ome = attributes ? jsonMember(*attributes, "ome") : nullptr;
    image.attributes = ome ? *ome : attributes ? *attributes : json::object();
  } else if (!readMetadataFile(path + "/.zattrs", ".zattrs", image.attributes, why)) {
    return false;
  }
  if (jsonMember(image.attributes, "multiscales")) return true;
  if (!seriesZero && jsonMember(image.attributes, "bioformats2raw.layout") &&
      findImage(path + "/0", image, why, true))
    return true;
  if (why.empty()) why = (version3 ? "zarr.json" : ".zattrs") + std::string(" holds no multiscales entry");
  return false;
}

bool readImage(Image& image, std::string& why) {
  const json* list = jsonMember(image.attributes, "multiscales");
  if (!list || !list->is_array() || list->empty() || !(*list)[0].is_object()) {
    why = (image.zarrVersion == 3 ? "zarr.json" : ".zattrs") + std::string(" holds no multiscales entry");
    return false;
  }
  image.entry = &(*list)[0];
  const json* version = jsonMember(image.zarrVersion == 3 ? image.attributes : *image.entry, "version");
  const std::string wanted = image.zarrVersion == 3 ? "0.5" : "0.4";
  if (version && jsonText(version) != wanted) {
    why = "multiscales version " + jsonBrief(version) + " is not " + wanted;
    return false;
  }
  if (!readAxes(jsonMember(*image.entry, "axes"), image.axes, why)) return false;
  const json* datasets = jsonMember(*image.entry, "datasets");
  if (!datasets || !datasets->is_array() || datasets->empty() || datasets->size() > kMaxDatasets) {
    why = "multiscales lists no datasets, or more than " + std::to_string(kMaxDatasets);
    return false;
  }
  return readTransforms(jsonMember(*image.entry, "coordinateTransformations"), image.axes.count, image.outerScale,
                        image.outerTranslation, why);
}

// The reduction the levels were made with: the multiscale's "type" (or our own
// record of it); a mean unless it says it picked samples.
LdaStore::Sampling samplingOf(const Image& image) {
  std::string type = jsonText(jsonMember(*image.entry, "type"));
  std::transform(type.begin(), type.end(), type.begin(), [](unsigned char c) { return std::tolower(c); });
  const json* own = jsonMember(image.attributes, "uxdiskdata");
  if (type.empty() && own) type = jsonText(jsonMember(*own, "samplingType")) == "Sharp" ? "nearest" : "";
  return type == "nearest" || type == "pick" || type == "sharp" || type == "stride" ? LdaStore::NEAREST
                                                                                   : LdaStore::MEAN;
}

}  // namespace

std::unique_ptr<LdaStore> LdaStore::open(const std::string& path, std::string& why) {
  Image image;
  if (!findImage(path, image, why) || !readImage(image, why)) return nullptr;
  const LdaAxes& axes = image.axes;
  const json& datasets = *jsonMember(*image.entry, "datasets");
  std::unique_ptr<LdaStore> store(new LdaStore);
  std::copy(axes.space, axes.space + 3, store->axisOf);
  store->channelAxis = axes.channel;
  store->timeAxis = axes.time;
  store->sampling = samplingOf(image);
  std::vector<double> baseScale, baseTranslation;
  for (size_t i = 0; i < datasets.size(); ++i) {
    const json& dataset = datasets[i];
    const std::string key = jsonText(jsonMember(dataset, "path"));
    std::vector<double> scale, translation;
    LdaStoredLevel level;
    if (!isInsidePath(key)) {
      why = "dataset path " + jsonBrief(jsonMember(dataset, "path")) + " does not name a folder inside the store";
      return nullptr;
    }
    if (!readTransforms(jsonMember(dataset, "coordinateTransformations"), axes.count, scale, translation, why) ||
        !readArrayMetadata(image.root, key, image.zarrVersion, axes, level, why))
      return nullptr;
    const long long components = axes.channel >= 0 ? level.shape[axes.channel] : 1;
    if (components < 1 || components > kMaxChannels) {
      why = key + ": its channel axis holds " + std::to_string(components) + " channels (1 to " +
            std::to_string(kMaxChannels) + " are read)";
      return nullptr;
    }
    if (std::any_of(level.dims, level.dims + 3, [](int n) { return n < 1; })) {
      why = key + ": an axis holds no samples";
      return nullptr;
    }
    if (axes.time >= 0 && level.shape[axes.time] != 1) {
      why = "time series are not supported";
      return nullptr;
    }
    if (i == 0) {
      store->primType = level.element.hostType;
      store->nDataVar = static_cast<int>(components);
      std::copy(level.dims, level.dims + 3, store->dims);
      baseScale = scale;
      baseTranslation = translation;
    } else if (level.element.hostType != store->primType || components != store->nDataVar) {
      why = "dataset " + key + " differs from the first in element type or channels";
      return nullptr;
    }
    bool usable = true;
    for (int a = 0; a < 3; ++a) {
      level.factor[a] = axes.space[a] < 0 ? 1 : factorOf(scale[axes.space[a]], baseScale[axes.space[a]]);
      usable = usable && level.factor[a] >= 1;
    }
    if (usable) store->levels.push_back(std::move(level));
  }
  for (int a = 0; a < 3; ++a) {
    const int axis = axes.space[a];
    const double spacing = axis < 0 ? 1.0 : baseScale[axis] * image.outerScale[axis];
    const double start = axis < 0 ? 0.0 : baseTranslation[axis] * image.outerScale[axis] + image.outerTranslation[axis];
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
