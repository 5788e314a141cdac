#include "host/lda/LdaStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/base/TbCPUInfo.h"
#include "host/lda/LdaLayout.h"
#include "host/rawdata/TbRawData.h"

using nlohmann::json;

namespace {

bool parseFile(const std::string& path, const std::string& name, json& out, std::string& why) {
  std::ifstream in(path);
  if (!in) {
    why = "it has no " + name;
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  out = json::parse(text.str(), nullptr, false);
  if (!out.is_discarded() && out.is_object()) return true;
  why = name + " is not a JSON object";
  return false;
}

bool isNumberArray(const json& value, size_t count) {
  if (!value.is_array() || value.size() != count) return false;
  return std::all_of(value.begin(), value.end(), [](const json& v) { return v.is_number(); });
}

// Roles of the axes: t and c may lead, z, y, x close the list in that order.
struct Axes {
  int count = 0;
  int space[3] = {-1, -1, -1};  // x, y, z
  int channel = -1;
  int time = -1;
};

bool readAxes(const json& list, Axes& axes, std::string& why) {
  if (!list.is_array() || list.size() < 3 || list.size() > 5) {
    why = "its axes are not 3 to 5 named axes";
    return false;
  }
  axes.count = static_cast<int>(list.size());
  for (int i = 0; i < axes.count; ++i) {
    const json& axis = list[i];
    const json name = axis.is_object() ? axis.value("name", json()) : axis;
    const std::string type = axis.is_object() ? axis.value("type", std::string()) : std::string();
    const std::string text = name.is_string() ? name.get<std::string>() : std::string();
    const int fromEnd = axes.count - 1 - i;
    if (fromEnd < 3 && text == std::string(1, "xyz"[fromEnd])) {
      axes.space[fromEnd] = i;
    } else if (fromEnd == 3 && (type == "channel" || text == "c")) {
      axes.channel = i;
    } else if (i == 0 && (type == "time" || text == "t")) {
      axes.time = i;
    } else {
      why = "axis \"" + text + "\" is not supported (expected [t,] [c,] z, y, x)";
      return false;
    }
  }
  return true;
}

// The scale and translation of a transformation list, one value per axis.
bool readTransforms(const json& list, size_t count, std::vector<double>& scale,
                    std::vector<double>& translation, std::string& why) {
  scale.assign(count, 1.0);
  translation.assign(count, 0.0);
  if (list.is_null()) return true;
  if (!list.is_array()) {
    why = "its coordinateTransformations are not a list";
    return false;
  }
  for (const json& transform : list) {
    const std::string type = transform.is_object() ? transform.value("type", std::string()) : "";
    if (type == "identity") continue;
    const bool isScale = type == "scale";
    if (!(isScale || type == "translation") || !isNumberArray(transform.value(type, json()), count)) {
      why = "a coordinate transformation is not a scale or translation of " +
            std::to_string(count) + " numbers";
      return false;
    }
    std::vector<double>& target = isScale ? scale : translation;
    for (size_t a = 0; a < count; ++a) target[a] = transform[type][a].get<double>();
  }
  return true;
}

// Zarr writes null for "none", and the non-finite floats as strings.
bool readFillValue(const json& value, double& fill) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string text = value.is_string() ? value.get<std::string>() : "";
  if (value.is_null()) fill = 0.0;
  else if (value.is_number()) fill = value.get<double>();
  else if (text == "NaN") fill = std::numeric_limits<double>::quiet_NaN();
  else if (text == "Infinity" || text == "-Infinity") fill = text[0] == '-' ? -infinity : infinity;
  else return false;
  return true;
}

bool readCounts(const json& value, int count, long long minimum, std::vector<long long>& out) {
  if (!value.is_array() || static_cast<int>(value.size()) != count) return false;
  out.clear();
  for (const json& v : value) {
    if (!v.is_number_integer() || v.get<long long>() < minimum || v.get<long long>() > INT32_MAX)
      return false;
    out.push_back(v.get<long long>());
  }
  return true;
}

bool readArray(const std::string& folder, const std::string& key, const Axes& axes,
               LdaStoredLevel& level, TbPrimType& type, std::string& why) {
  json array;
  if (!parseFile(folder + "/.zarray", key + "/.zarray", array, why)) return false;
  std::vector<long long> chunks;
  const auto fail = [&](const std::string& what) {
    why = key + "/.zarray: " + what;
    return false;
  };
  if (array.value("zarr_format", 0) != 2) return fail("not a Zarr version 2 array");
  if (!readCounts(array.value("shape", json()), axes.count, 0, level.shape) ||
      !readCounts(array.value("chunks", json()), axes.count, 1, chunks))
    return fail("its shape or chunks do not match the " + std::to_string(axes.count) + " axes");
  if (!primTypeOfDtype(array.value("dtype", std::string()), type, level.bigEndian))
    return fail("dtype " + array.value("dtype", json()).dump() + " is not supported");
  if (array.value("order", std::string()) != "C") return fail("only C order is supported");
  const json filters = array.value("filters", json());
  if (!filters.is_null() && !(filters.is_array() && filters.empty()))
    return fail("filters are not supported");
  LdaCodec codec;
  std::string codecWhy;
  if (!codecOfCompressorEntry(array.value("compressor", json()), codec, codecWhy)) return fail(codecWhy);
  level.codec = std::move(codec);
  const std::string separator = array.value("dimension_separator", std::string("."));
  if (separator != "/" && separator != ".") return fail("dimension_separator must be \"/\" or \".\"");
  level.separator = separator[0];
  if (!readFillValue(array.value("fill_value", json()), level.fillValue))
    return fail("fill_value is not a number");
  level.folder = folder;
  level.chunks.assign(chunks.begin(), chunks.end());
  for (int a = 0; a < 3; ++a) level.dims[a] = static_cast<int>(level.shape[axes.space[a]]);
  return true;
}

// The power of two the level's spacing is of level 0's along one axis; -1 if none.
int shiftOf(double scale, double baseScale) {
  const double ratio = scale / baseScale;
  if (!(ratio >= 1.0) || !std::isfinite(ratio)) return ratio == 1.0 ? 0 : -1;
  const int shift = static_cast<int>(std::lround(std::log2(ratio)));
  return std::fabs(ratio - std::ldexp(1.0, shift)) <= 1e-4 * ratio && shift < 31 ? shift : -1;
}

template <class T>
void fillAs(unsigned char* out, size_t count, double value) {
  if (std::is_integral<T>::value && !std::isfinite(value)) value = 0;
  const T typed = static_cast<T>(value);
  for (size_t i = 0; i < count; ++i) std::memcpy(out + i * sizeof(T), &typed, sizeof(T));
}

void fillElements(unsigned char* out, size_t count, TbPrimType type, double value) {
  if (value == 0.0 && !std::signbit(value)) {
    std::memset(out, 0, count * type.size());
    return;
  }
  switch (type) {
    case TbPrimType::UINT8: fillAs<uint8_t>(out, count, value); break;
    case TbPrimType::INT16: fillAs<int16_t>(out, count, value); break;
    case TbPrimType::UINT16: fillAs<uint16_t>(out, count, value); break;
    case TbPrimType::INT32: fillAs<int32_t>(out, count, value); break;
    case TbPrimType::FLOAT: fillAs<float>(out, count, value); break;
    default: fillAs<double>(out, count, value); break;
  }
}

bool readWholeFile(const std::string& path, std::vector<unsigned char>& bytes, bool& missing) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  missing = fd < 0 && errno == ENOENT;
  if (fd < 0) return false;
  struct stat info;
  bool read = ::fstat(fd, &info) == 0;
  if (read) bytes.resize(static_cast<size_t>(info.st_size));
  for (size_t done = 0; read && done < bytes.size();) {
    const ssize_t got = ::pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (got <= 0) read = false;
    else done += static_cast<size_t>(got);
  }
  ::close(fd);
  return read;
}

}  // namespace

std::unique_ptr<LdaStore> LdaStore::open(const std::string& path, std::string& why) {
  if (std::ifstream(path + "/zarr.json")) {
    why = "Zarr version 3 stores are not supported";
    return nullptr;
  }
  json attributes;
  if (!parseFile(path + "/.zattrs", ".zattrs", attributes, why)) return nullptr;
  const json list = attributes.value("multiscales", json());
  if (!list.is_array() || list.empty() || !list[0].is_object()) {
    why = ".zattrs holds no multiscales entry";
    return nullptr;
  }
  const json& image = list[0];
  if (image.value("version", json()) != "0.4") {
    why = "multiscales version " + image.value("version", json()).dump() + " is not 0.4";
    return nullptr;
  }
  Axes axes;
  if (!readAxes(image.value("axes", json()), axes, why)) return nullptr;
  const json datasets = image.value("datasets", json());
  if (!datasets.is_array() || datasets.empty()) {
    why = "multiscales lists no datasets";
    return nullptr;
  }
  std::unique_ptr<LdaStore> store(new LdaStore);
  std::copy(axes.space, axes.space + 3, store->axisOf);
  store->channelAxis = axes.channel;
  store->timeAxis = axes.time;
  std::vector<double> outerScale, outerTranslation, baseScale, baseTranslation;
  if (!readTransforms(image.value("coordinateTransformations", json()), axes.count, outerScale,
                      outerTranslation, why))
    return nullptr;
  for (size_t i = 0; i < datasets.size(); ++i) {
    const json& dataset = datasets[i];
    const std::string key = dataset.is_object() ? dataset.value("path", std::string()) : "";
    std::vector<double> scale, translation;
    LdaStoredLevel level;
    TbPrimType type;
    if (key.empty()) {
      why = "a dataset has no path";
      return nullptr;
    }
    if (!readTransforms(dataset.value("coordinateTransformations", json()), axes.count, scale,
                        translation, why) ||
        !readArray(path + "/" + key, key, axes, level, type, why))
      return nullptr;
    const int components = axes.channel >= 0 ? static_cast<int>(level.shape[axes.channel]) : 1;
    if (i == 0) {
      store->primType = type;
      store->nDataVar = components;
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
  if (store->nDataVar < 1) {
    why = "its channel axis is empty";
    return nullptr;
  }
  for (int a = 0; a < 3; ++a) {
    const int axis = axes.space[a];
    const double spacing = baseScale[axis] * outerScale[axis];
    const double start = baseTranslation[axis] * outerScale[axis] + outerTranslation[axis];
    store->box[2 * a] = static_cast<float>(start);
    store->box[2 * a + 1] = static_cast<float>(start + spacing * std::max(store->dims[a] - 1, 0));
  }
  return store;
}

bool LdaStore::readChunk(const LdaStoredLevel& level, const std::vector<long long>& index,
                         std::vector<unsigned char>& chunk, bool& missing,
                         std::string& why) const {
  std::string key;
  for (size_t i = 0; i < index.size(); ++i)
    key += (i ? std::string(1, level.separator) : std::string()) + std::to_string(index[i]);
  std::vector<unsigned char> stored;
  const bool read = readWholeFile(level.folder + "/" + key, stored, missing);
  if (missing) return true;
  const bool decoded =
      read && (level.codec ? level.codec->decompress(stored.data(), stored.size(), chunk.data(),
                                                     chunk.size())
                           : stored.size() == chunk.size());
  if (!decoded) {
    why = "chunk " + level.folder + "/" + key + (read ? " cannot be decoded" : " cannot be read");
    return false;
  }
  if (!level.codec) chunk.swap(stored);
  if (level.bigEndian == TbCPUInfo::isLittleEndian() && primType.size() > 1)
    TbRawData::swapBytes(TbTypedPointer(chunk.data(), primType), chunk.size() / primType.size());
  return true;
}

bool LdaStore::readBox(int levelIndex, const int* origin, const int* size, unsigned char* out,
                       std::string& why) const {
  const LdaStoredLevel& level = levels[levelIndex];
  const size_t elementBytes = primType.size();
  const size_t sampleSize = sampleBytes();
  fillElements(out, static_cast<size_t>(size[0]) * size[1] * size[2] * nDataVar, primType,
               level.fillValue);
  int first[3], last[3], chunk[3];
  for (int a = 0; a < 3; ++a) {
    chunk[a] = level.chunks[axisOf[a]];
    const int low = std::max(origin[a], 0);
    const int high = std::min(origin[a] + size[a], level.dims[a]);
    if (low >= high) return true;
    first[a] = low / chunk[a];
    last[a] = (high - 1) / chunk[a];
  }
  const int channelChunk = channelAxis >= 0 ? level.chunks[channelAxis] : 1;
  size_t chunkElements = 1;
  for (int extent : level.chunks) chunkElements *= static_cast<size_t>(extent);
  std::vector<unsigned char> buffer(chunkElements * elementBytes);
  std::vector<long long> index(level.shape.size(), 0);
  for (int ic = 0; ic * channelChunk < nDataVar; ++ic)
    for (int iz = first[2]; iz <= last[2]; ++iz)
      for (int iy = first[1]; iy <= last[1]; ++iy)
        for (int ix = first[0]; ix <= last[0]; ++ix) {
          if (channelAxis >= 0) index[channelAxis] = ic;
          const int at[3] = {ix, iy, iz};
          for (int a = 0; a < 3; ++a) index[axisOf[a]] = at[a];
          bool missing = false;
          buffer.resize(chunkElements * elementBytes);
          if (!readChunk(level, index, buffer, missing, why)) return false;
          if (missing) continue;
          int low[3], high[3];
          for (int a = 0; a < 3; ++a) {
            low[a] = std::max(origin[a], at[a] * chunk[a]);
            high[a] = std::min({origin[a] + size[a], (at[a] + 1) * chunk[a], level.dims[a]});
          }
          const int width = high[0] - low[0];
          for (int c = ic * channelChunk; c < std::min(nDataVar, (ic + 1) * channelChunk); ++c)
            for (int z = low[2]; z < high[2]; ++z)
              for (int y = low[1]; y < high[1]; ++y) {
                const size_t from = ((static_cast<size_t>(c - ic * channelChunk) * chunk[2] +
                                      (z - iz * chunk[2])) * chunk[1] + (y - iy * chunk[1])) *
                                        chunk[0] + (low[0] - ix * chunk[0]);
                const size_t to = ((static_cast<size_t>(z - origin[2]) * size[1] + (y - origin[1])) *
                                       size[0] + (low[0] - origin[0])) * sampleSize + c * elementBytes;
                const unsigned char* source = buffer.data() + from * elementBytes;
                if (nDataVar == 1) {
                  std::memcpy(out + to, source, width * elementBytes);
                  continue;
                }
                for (int x = 0; x < width; ++x)
                  std::memcpy(out + to + x * sampleSize, source + x * elementBytes, elementBytes);
              }
        }
  return true;
}
