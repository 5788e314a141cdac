#include "host/lda/LdaRawSource.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <nlohmann/json.hpp>

#include "host/base/TbCPUInfo.h"
#include "host/base/TbFileContents.h"
#include "host/base/TbFileIO.h"
#include "host/console/UxMessage.h"
#include "host/rawdata/TbRawData.h"

namespace {

TbFileIO& io() { return TbFileIO::current(); }
UxMessage& console() { return *UxMessage::getTheMsg(); }

bool isRawType(TbPrimType type) {
  return type == TbPrimType::UINT8 || type == TbPrimType::INT16 || type == TbPrimType::UINT16 ||
         type == TbPrimType::INT32 || type == TbPrimType::FLOAT || type == TbPrimType::DOUBLE;
}

void narrow(const unsigned char* doubles, unsigned char* floats, size_t count) {
  const auto* wide = reinterpret_cast<const double*>(doubles);
  auto* out = reinterpret_cast<float*>(floats);
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<float>(wide[i]);
}

}  // namespace

std::unique_ptr<LdaRawSource> LdaRawSource::open(const std::vector<std::string>& files, const int* dims,
                                                 int nDataVar, TbPrimType primType, bool littleEndian,
                                                 int headerBytes, bool doubleToFloat, bool& mismatch) {
  mismatch = false;
  if (!isRawType(primType) || headerBytes < 0 || nDataVar < 1 || dims[0] < 1 || dims[1] < 1 || dims[2] < 1) {
    console().printf(
        "Error: cannot convert raw data of %d x %d x %d samples of %d components of type %d with a header of %d bytes",
        dims[0], dims[1], dims[2], nDataVar, static_cast<int>(primType), headerBytes);
    return nullptr;
  }
  if (files.empty() || (files.size() > 1 && files.size() != static_cast<size_t>(dims[2]))) {
    console().printf("Error: %d raw files for %d slices: give one file, or one file per slice",
                     static_cast<int>(files.size()), dims[2]);
    return nullptr;
  }
  std::unique_ptr<LdaRawSource> source(new LdaRawSource);
  source->files = files;
  source->inputType = primType;
  source->primType = doubleToFloat && primType == TbPrimType::DOUBLE ? TbPrimType::FLOAT : primType;
  source->nDataVar = nDataVar;
  source->littleEndian = littleEndian;
  source->headerBytes = headerBytes;
  for (int a = 0; a < 3; ++a) source->dims[a] = dims[a];
  return source->checkSizes(mismatch) ? std::move(source) : nullptr;
}

LdaRawSource::~LdaRawSource() {
  if (mapped) io().unmap(mapped, mappedBytes);
  if (fd >= 0) io().close(fd);
}

bool LdaRawSource::mapsSlices() const {
  return files.size() == 1 && inputType == primType && littleEndian == TbCPUInfo::isLittleEndian();
}

// Pages of the file cache are mapped, not copied; the previous slab's are let go.
const unsigned char* LdaRawSource::map(int first, int count) {
  if (mapped) io().unmap(mapped, mappedBytes);
  mapped = nullptr;
  if (!mapsSlices() || !useFile(0)) return nullptr;
  const int64_t slice = static_cast<int64_t>(dims[0]) * dims[1] * inputSampleBytes();
  const int64_t start = headerBytes + first * slice;
  const int64_t page = ::sysconf(_SC_PAGESIZE);
  const int64_t aligned = start / page * page;
  mappedBytes = start - aligned + count * slice;
  mapped = io().map(fd, aligned, mappedBytes);
  if (mapped) return static_cast<const unsigned char*>(mapped) + (start - aligned);
  console().printf("Error: cannot map slices %d to %d of %s into memory", first, first + count - 1, files[0].c_str());
  return nullptr;
}

// Every file must hold its header and exactly the samples described: a count
// of components or slices that does not match the bytes is a wrong
// description, never a guess.
bool LdaRawSource::checkSizes(bool& mismatch) const {
  const int slicesPerFile = files.size() == 1 ? dims[2] : 1;
  const int64_t samples = static_cast<int64_t>(dims[0]) * dims[1] * slicesPerFile;
  const int64_t expected = headerBytes + samples * static_cast<int64_t>(inputSampleBytes());
  for (const std::string& file : files) {
    TbFileInfo info;
    if (io().stat(file.c_str(), &info) != 0) {
      console().printf("Error: can't open %s: %s", file.c_str(), std::strerror(errno));
      return false;
    }
    if (info.kind != TbFileInfo::REGULAR) {
      console().printf("Error: can't open %s: it is not a regular file", file.c_str());
      return false;
    }
    if (info.size == expected) continue;
    mismatch = true;
    console().printf(
        "Error: %s holds %lld bytes, but a header of %lld bytes and %d x %d x %d samples of %d component(s) "
        "of %s take %lld bytes: check the dimensions, type, components and header",
        file.c_str(), static_cast<long long>(info.size), static_cast<long long>(headerBytes), dims[0], dims[1],
        slicesPerFile, nDataVar, inputType.name(), static_cast<long long>(expected));
    return false;
  }
  return true;
}

nlohmann::json LdaRawSource::describe() const {
  return {{"format", "Raw Data"},
          {"files", files},
          {"dims", {dims[0], dims[1], dims[2]}},
          {"primType", inputType.name()},
          {"nDataVar", nDataVar},
          {"headerBytes", headerBytes},
          {"byteOrder", littleEndian ? "little" : "big"},
          {"doubleToFloat", inputType != primType}};
}

// One slice of a region of doubles waits for narrowing.
size_t LdaRawSource::stagingPerSample() const { return inputType == primType ? 0 : inputSampleBytes(); }

bool LdaRawSource::useFile(int file) {
  if (openFile == file && fd >= 0) return true;
  if (fd >= 0) io().close(fd);
  openFile = file;
  std::string why;
  fd = openRegularFile(files[file], why);
  if (fd >= 0) return true;
  console().printf("Error: can't open %s: %s", files[file].c_str(), why.empty() ? "No such file or directory" : why.c_str());
  return false;
}

bool LdaRawSource::readBytes(int64_t offset, int64_t bytes, unsigned char* out, int slice) {
  if (io().pread(fd, out, bytes, offset) == bytes) return true;
  console().printf("Error: %s ends before slice %d, or cannot be read", files[openFile].c_str(), slice);
  return false;
}

// The input's own bytes of a region of `count` slices.
bool LdaRawSource::readInputRegion(const LdaRegion& region, int first, int count, unsigned char* out) {
  const int64_t sample = static_cast<int64_t>(inputSampleBytes());
  const int64_t row = dims[0] * sample;
  const int64_t slice = row * dims[1];
  const bool oneFile = files.size() == 1;
  const bool wholeRows = region.x0 == 0 && region.width == dims[0];
  if (oneFile && wholeRows && region.height == dims[1])
    return useFile(0) && readBytes(headerBytes + first * slice, count * slice, out, first);
  for (int z = first; z < first + count; ++z) {
    if (!useFile(oneFile ? 0 : z)) return false;
    const int64_t start = headerBytes + (oneFile ? z * slice : 0) + region.y0 * row + region.x0 * sample;
    if (wholeRows) {
      if (!readBytes(start, region.height * row, out, z)) return false;
      out += region.height * row;
      continue;
    }
    for (int y = 0; y < region.height; ++y, out += region.width * sample)
      if (!readBytes(start + y * row, region.width * sample, out, z)) return false;
  }
  return true;
}

bool LdaRawSource::read(const LdaRegion& region, int first, int count, unsigned char* out) {
  const bool swap = littleEndian != TbCPUInfo::isLittleEndian();
  const size_t elements = region.samples() * nDataVar;
  if (inputType == primType) {
    if (!readInputRegion(region, first, count, out)) return false;
    if (swap) TbRawData::swapBytes(TbTypedPointer(out, inputType), elements * count);
    return true;
  }
  staging.resize(elements * inputType.size());
  for (int z = first; z < first + count; ++z, out += elements * primType.size()) {
    if (!readInputRegion(region, z, 1, staging.data())) return false;
    if (swap) TbRawData::swapBytes(TbTypedPointer(staging.data(), inputType), elements);
    narrow(staging.data(), out, elements);
  }
  return true;
}
