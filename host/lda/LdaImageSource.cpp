#include "host/lda/LdaImageSource.h"

#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "host/console/UxMessage.h"
#include "host/images/ImageReaders.h"
#include "host/lda/LdaTiffFile.h"

namespace {

enum { OPTION_MAXIMUM, OPTION_WEIGHTED, OPTION_RED, OPTION_GREEN, OPTION_BLUE, OPTION_ALPHA };

UxMessage& console() { return *UxMessage::getTheMsg(); }

// Frees the pixels readImage2Page hands over.
struct Pixels {
  int size[3] = {0, 0, 0};
  TbTypedPointer values{nullptr, TbPrimType::UINT8};
  ~Pixels() { std::free(values.data); }
  bool read(const std::string& file, int page) { return readImage2Page(file.c_str(), page, size, values, 0) != 0; }
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

std::unique_ptr<LdaImageSource> LdaImageSource::open(const std::vector<std::string>& files, int channelOption) {
  std::unique_ptr<LdaImageSource> source(new LdaImageSource);
  source->files = files;
  source->channelOption = channelOption;
  source->pages = files.size() == 1;
  return source->describeFirst() ? std::move(source) : nullptr;
}

LdaImageSource::~LdaImageSource() = default;

bool LdaImageSource::describeFirst() {
  int pageCount = 1;
  if (LdaTiffFile* page = files.empty() ? nullptr : directPage(0, 0)) {
    first = {page->width, page->height, page->channels,
             page->sampleBytes == 2 ? TbPrimType::UINT16 : TbPrimType::UINT8};
    if (pages) pageCount = tiff->pageCount();
    byTiles = true;
  } else {
    Pixels image;
    if (pages) pageCount = files.empty() ? 0 : imagePageCount(files[0].c_str());
    if (files.empty() || pageCount < 1 || !image.read(files[0], 0)) {
      console().printf("Error: can't read %s", files.empty() ? "" : files[0].c_str());
      return false;
    }
    first = {image.size[0], image.size[1], image.size[2], image.values.primType};
  }
  if (!optionApplies(channelOption, first.channels)) {
    console().printf(
        "Error: channel option %d does not apply to %s (%d channels): use 0 to 4, or 5 for images with alpha",
        channelOption, files[0].c_str(), first.channels);
    return false;
  }
  dims[0] = first.width;
  dims[1] = first.height;
  dims[2] = pages ? pageCount : static_cast<int>(files.size());
  primType = first.type;
  return true;
}

nlohmann::json LdaImageSource::describe() const {
  nlohmann::json description = {{"format", "images"},
                                {"files", files},
                                {"dims", {dims[0], dims[1], dims[2]}},
                                {"primType", primType.name()},
                                {"channels", first.channels},
                                {"convertMethod", channelOption}};
  if (pages) description["pagesAreSlices"] = true;
  return description;
}

// A region of a TIFF page with all its channels, beside the one strip or tile
// being decoded; an image decoded whole is held twice for a moment (the
// decoder's image and the plain pixels made from it).
size_t LdaImageSource::stagingPerSample() const {
  return byTiles ? static_cast<size_t>(first.channels) * first.type.size() : 0;
}

size_t LdaImageSource::fixedWorkingBytes() const {
  const size_t pixels = static_cast<size_t>(dims[0]) * dims[1];
  return byTiles ? LdaTiffFile::kLargestPiece : pixels * (4 + static_cast<size_t>(first.channels) * first.type.size());
}

// The TIFF page when libtiff reads it a region at a time; null for any other image.
LdaTiffFile* LdaImageSource::directPage(int index, int page) {
  if (tiffIndex != index) {
    std::string why;
    tiff = LdaTiffFile::open(files[index], why);
    tiffIndex = index;
  }
  if (!tiff || !tiff->selectPage(page) || !tiff->readsDirectly()) return nullptr;
  return tiff.get();
}

bool LdaImageSource::fits(const std::string& file, const Shape& shape) const {
  if (shape.width != first.width || shape.height != first.height) {
    console().printf("Error: %s is %d x %d samples, not %d x %d as the first image: images are not all of the same dimensions",
                     file.c_str(), shape.width, shape.height, first.width, first.height);
    return false;
  }
  if (shape.type != first.type || !optionApplies(channelOption, shape.channels)) {
    console().printf("Error: %s does not hold the kind of pixels the first image holds", file.c_str());
    return false;
  }
  return true;
}

void LdaImageSource::pickValues(const unsigned char* from, int channelCount, size_t count, unsigned char* out) const {
  if (channelCount == 1) {
    std::memcpy(out, from, count * primType.size());
    return;
  }
  for (size_t i = 0; i < count; ++i, from += channelCount) out[i] = pick(from, channelOption);
}

bool LdaImageSource::read(const LdaRegion& region, int firstSlice, int count, unsigned char* out) {
  for (int z = firstSlice; z < firstSlice + count; ++z, out += region.samples() * primType.size())
    if (!readSlice(z, region, out)) return false;
  return true;
}

bool LdaImageSource::readSlice(int z, const LdaRegion& region, unsigned char* out) {
  const int index = pages ? 0 : z;
  const std::string& file = files[index];
  const int page = pages ? z : 0;
  LdaTiffFile* tiffPage = directPage(index, page);
  if (!tiffPage) return readDecoded(file, page, region, out);
  if (!fits(file, {tiffPage->width, tiffPage->height, tiffPage->channels,
                   tiffPage->sampleBytes == 2 ? TbPrimType::UINT16 : TbPrimType::UINT8}))
    return false;
  pixels.resize(region.samples() * tiffPage->channels * tiffPage->sampleBytes);
  std::string why;
  if (!tiffPage->readRegion(region, pixels.data(), why)) {
    console().printf("Could not read %s: %s", file.c_str(), why.c_str());
    return false;
  }
  pickValues(pixels.data(), tiffPage->channels, region.samples(), out);
  return true;
}

// An image the host's readers decode whole; the region is cut out of it.
bool LdaImageSource::readDecoded(const std::string& file, int page, const LdaRegion& region, unsigned char* out) {
  Pixels image;
  if (!image.read(file, page)) {
    console().printf("Could not read %s", file.c_str());
    return false;
  }
  const Shape shape{image.size[0], image.size[1], image.size[2], image.values.primType};
  if (!fits(file, shape)) return false;
  const size_t pixel = static_cast<size_t>(shape.channels) * shape.type.size();
  const auto* values = static_cast<const unsigned char*>(image.values.data);
  for (int y = 0; y < region.height; ++y, out += region.width * primType.size()) {
    const unsigned char* row = values + ((static_cast<size_t>(region.y0) + y) * shape.width + region.x0) * pixel;
    pickValues(row, shape.channels, static_cast<size_t>(region.width), out);
  }
  return true;
}
