#include "host/lda/LdaRawSource.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "host/base/TbCPUInfo.h"
#include "host/base/TbFilename.h"
#include "host/console/UxMessage.h"
#include "host/rawdata/TbRawData.h"

namespace {

void say(const char* format, const std::string& text) {
  UxMessage::getTheMsg()->printf(format, text.c_str());
}

bool isRawType(TbPrimType type) {
  return type == TbPrimType::UINT8 || type == TbPrimType::INT16 || type == TbPrimType::UINT16 ||
         type == TbPrimType::INT32 || type == TbPrimType::FLOAT || type == TbPrimType::DOUBLE;
}

}  // namespace

std::unique_ptr<LdaRawSource> LdaRawSource::open(const std::vector<std::string>& files,
                                                 const int* dims, TbPrimType primType,
                                                 bool littleEndian, int headerBytes,
                                                 bool doubleToFloat) {
  if (!isRawType(primType) || headerBytes < 0 || dims[0] < 1 || dims[1] < 1 || dims[2] < 1) {
    UxMessage::getTheMsg()->printf(
        "Error: cannot convert raw data of %d x %d x %d samples of type %d with a header of %d bytes",
        dims[0], dims[1], dims[2], static_cast<int>(primType), headerBytes);
    return nullptr;
  }
  const bool perSlice = files.size() > 1;
  if (files.empty() || (perSlice && files.size() != static_cast<size_t>(dims[2]))) {
    UxMessage::getTheMsg()->printf(
        "Error: %d raw files for %d slices: give one file, or one file per slice",
        static_cast<int>(files.size()), dims[2]);
    return nullptr;
  }
  std::unique_ptr<LdaRawSource> source(new LdaRawSource);
  source->files = files;
  source->inputType = primType;
  source->primType = doubleToFloat && primType == TbPrimType::DOUBLE ? TbPrimType::FLOAT : primType;
  source->littleEndian = littleEndian;
  source->headerBytes = headerBytes;
  for (int a = 0; a < 3; ++a) source->dims[a] = dims[a];

  const int64_t size = TbFilename(files[0].c_str()).fileSize();
  if (size < 0) {
    say("Error: can't open %s", files[0]);
    return nullptr;
  }
  const int64_t componentBytes = static_cast<int64_t>(dims[0]) * dims[1] *
                                 (perSlice ? 1 : dims[2]) * primType.size();
  source->nDataVar = static_cast<int>((size - headerBytes) / componentBytes);
  if (size < headerBytes || source->nDataVar < 1) {
    UxMessage::getTheMsg()->printf(
        "Error: %s holds %lld bytes, fewer than its header of %d bytes and %lld bytes of samples",
        files[0].c_str(), static_cast<long long>(size), headerBytes,
        static_cast<long long>(componentBytes));
    return nullptr;
  }
  return source;
}

LdaRawSource::~LdaRawSource() {
  if (mapped) ::munmap(mapped, mappedBytes);
  if (fd >= 0) ::close(fd);
}

bool LdaRawSource::mapsSlices() const {
  return files.size() == 1 && inputType == primType && littleEndian == TbCPUInfo::isLittleEndian();
}

// Pages of the file cache are mapped, not copied; the previous slab's are let go.
const unsigned char* LdaRawSource::map(int first, int count) {
  if (mapped) ::munmap(mapped, mappedBytes);
  mapped = nullptr;
  if (!mapsSlices()) return nullptr;
  if (openFile != 0) {
    openFile = 0;
    fd = ::open(files[0].c_str(), O_RDONLY | O_CLOEXEC);
  }
  const int64_t start = headerBytes + static_cast<int64_t>(first) * sliceBytes();
  const int64_t end = start + static_cast<int64_t>(count) * sliceBytes();
  struct stat info;
  if (fd < 0) {
    say("Error: can't open %s", files[0]);
    return nullptr;
  }
  if (::fstat(fd, &info) != 0 || info.st_size < end) {
    UxMessage::getTheMsg()->printf("Error: %s ends before slice %d", files[0].c_str(), first + count - 1);
    return nullptr;
  }
  const int64_t page = ::sysconf(_SC_PAGESIZE);
  const int64_t aligned = start / page * page;
  mappedBytes = static_cast<size_t>(end - aligned);
  mapped = ::mmap(nullptr, mappedBytes, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, aligned);
  if (mapped != MAP_FAILED) return static_cast<const unsigned char*>(mapped) + (start - aligned);
  mapped = nullptr;
  say("Error: cannot map %s into memory", files[0]);
  return nullptr;
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

bool LdaRawSource::readBytes(int file, int64_t offset, size_t bytes, unsigned char* out,
                             int slice) {
  if (openFile != file) {
    if (fd >= 0) ::close(fd);
    openFile = file;
    fd = ::open(files[file].c_str(), O_RDONLY | O_CLOEXEC);
  }
  if (fd < 0) {
    say("Error: can't open %s", files[file]);
    return false;
  }
  while (bytes > 0) {
    const ssize_t got = ::pread(fd, out, bytes, offset);
    if (got <= 0) {
      UxMessage::getTheMsg()->printf("Error: %s ends before slice %d", files[file].c_str(), slice);
      return false;
    }
    out += got;
    offset += got;
    bytes -= static_cast<size_t>(got);
  }
  return true;
}

// The input's own bytes of `count` slices.
bool LdaRawSource::readSlices(int first, int count, unsigned char* out) {
  const size_t slice = inputSliceBytes();
  if (files.size() == 1)
    return readBytes(0, headerBytes + static_cast<int64_t>(first) * slice, slice * count, out, first);
  for (int z = first; z < first + count; ++z, out += slice)
    if (!readBytes(z, headerBytes, slice, out, z)) return false;
  return true;
}

bool LdaRawSource::read(int first, int count, unsigned char* out) {
  const bool swap = littleEndian != TbCPUInfo::isLittleEndian();
  const size_t samples = sliceBytes() / primType.size();
  if (inputType == primType) {
    if (!readSlices(first, count, out)) return false;
    if (swap) TbRawData::swapBytes(TbTypedPointer(out, inputType), samples * count);
    return true;
  }
  staging.resize(inputSliceBytes());
  auto* narrowed = reinterpret_cast<float*>(out);
  for (int z = first; z < first + count; ++z) {
    if (!readSlices(z, 1, staging.data())) return false;
    if (swap) TbRawData::swapBytes(TbTypedPointer(staging.data(), inputType), samples);
    const auto* wide = reinterpret_cast<const double*>(staging.data());
    for (size_t i = 0; i < samples; ++i) *narrowed++ = static_cast<float>(wide[i]);
  }
  return true;
}
