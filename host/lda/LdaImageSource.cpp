#include "host/lda/LdaImageSource.h"

#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "host/console/UxMessage.h"
#include "host/images/ImageReaders.h"

namespace {

enum { OPTION_MAXIMUM, OPTION_WEIGHTED, OPTION_RED, OPTION_GREEN, OPTION_BLUE, OPTION_ALPHA };

// Frees the pixels readImage2Page hands over.
struct Pixels {
  int size[3] = {0, 0, 0};
  TbTypedPointer values{nullptr, TbPrimType::UINT8};
  ~Pixels() { std::free(values.data); }
  bool read(const std::string& file, int page) {
    return readImage2Page(file.c_str(), page, size, values, 0) != 0;
  }
};

bool optionApplies(int option, int channels) {
  if (option == OPTION_ALPHA) return channels == 4;
  return option >= OPTION_MAXIMUM && option <= OPTION_BLUE;
}

unsigned char pick(const unsigned char* p, int option) {
  switch (option) {
    case OPTION_MAXIMUM: return p[0] > p[1] ? (p[0] > p[2] ? p[0] : p[2]) : (p[1] > p[2] ? p[1] : p[2]);
    case OPTION_WEIGHTED: {
      const float value = (p[0] * 0.3f + p[1] * 0.59f) + p[2] * 0.11f;
      return static_cast<unsigned char>(static_cast<int>(value) & 0xff);
    }
    default: return p[option - OPTION_RED];
  }
}

}  // namespace

std::unique_ptr<LdaImageSource> LdaImageSource::open(const std::vector<std::string>& files,
                                                     int channelOption) {
  std::unique_ptr<LdaImageSource> source(new LdaImageSource);
  source->files = files;
  source->channelOption = channelOption;
  Pixels first;
  const int pageCount = files.size() == 1 ? imagePageCount(files[0].c_str()) : 1;
  if (files.empty() || pageCount < 1 || !first.read(files[0], 0)) {
    UxMessage::getTheMsg()->printf("Error: can't read %s", files.empty() ? "" : files[0].c_str());
    return nullptr;
  }
  source->pages = files.size() == 1;
  source->channels = first.size[2];
  if (!optionApplies(channelOption, source->channels)) {
    UxMessage::getTheMsg()->printf(
        "Error: channel option %d does not apply to %s (%d channels): use 0 to 4, or 5 for "
        "images with alpha",
        channelOption, files[0].c_str(), source->channels);
    return nullptr;
  }
  source->dims[0] = first.size[0];
  source->dims[1] = first.size[1];
  source->dims[2] = source->pages ? pageCount : static_cast<int>(files.size());
  source->primType = first.values.primType;
  return source;
}

nlohmann::json LdaImageSource::describe() const {
  nlohmann::json description = {{"format", "images"},
                                {"files", files},
                                {"dims", {dims[0], dims[1], dims[2]}},
                                {"primType", primType.name()},
                                {"channels", channels},
                                {"convertMethod", channelOption}};
  if (pages) description["pagesAreSlices"] = true;
  return description;
}

bool LdaImageSource::read(int first, int count, unsigned char* out) {
  for (int z = first; z < first + count; ++z, out += sliceBytes())
    if (!readSlice(z, out)) return false;
  return true;
}

bool LdaImageSource::readSlice(int z, unsigned char* out) {
  const std::string& file = files[pages ? 0 : z];
  Pixels image;
  if (!image.read(file, pages ? z : 0)) {
    UxMessage::getTheMsg()->printf("Could not read %s", file.c_str());
    return false;
  }
  if (image.size[0] != dims[0] || image.size[1] != dims[1]) {
    UxMessage::getTheMsg()->printf("images are not all of the same dimensions");
    return false;
  }
  if (image.values.primType != primType || !optionApplies(channelOption, image.size[2])) {
    UxMessage::getTheMsg()->printf("Error: %s does not hold the kind of pixels the first image holds",
                                   file.c_str());
    return false;
  }
  const size_t pixels = static_cast<size_t>(dims[0]) * dims[1];
  const auto* values = static_cast<const unsigned char*>(image.values.data);
  if (image.size[2] == 1) {
    std::memcpy(out, values, sliceBytes());
    return true;
  }
  for (size_t i = 0; i < pixels; ++i, values += image.size[2]) out[i] = pick(values, channelOption);
  return true;
}
