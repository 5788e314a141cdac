#include "host/lda/UxLdaData.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "host/console/UxMessage.h"
#include "host/lda/LdaStore.h"
#include "host/rawdata/TbRawData.h"
#include "host/types/TbTypeInfo.h"

namespace {

// The type exists once the library is loaded, so scripts can name it.
TbTypeInfo* const ldaDataType = UxLdaData::getClassTypeId();

// Memory one step of an in-memory reduction may take.
const size_t kReductionBytes = size_t(64) << 20;

int shiftOfSubsampling(int subsampling) {
  if (subsampling < 1 || (subsampling & (subsampling - 1))) return -1;
  int shift = 0;
  while ((1 << shift) < subsampling) ++shift;
  return shift;
}

bool isFile(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// Copies a box of samples into the part of a larger buffer that starts at `offset`.
void copyIntoBuffer(const unsigned char* box, const int* size, unsigned char* buffer,
                    const int* bufferSize, const int* offset, size_t sampleBytes) {
  const size_t rowBytes = size[0] * sampleBytes;
  for (int z = 0; z < size[2]; ++z)
    for (int y = 0; y < size[1]; ++y) {
      const size_t to = (static_cast<size_t>(z + offset[2]) * bufferSize[1] + y + offset[1]) *
                            bufferSize[0] + offset[0];
      std::memcpy(buffer + to * sampleBytes, box + (static_cast<size_t>(z) * size[1] + y) * rowBytes,
                  rowBytes);
    }
}

}  // namespace

UxLdaData::UxLdaData(std::unique_ptr<LdaStore> opened)
    : UxExternalData(opened->dims, opened->nDataVar, opened->primType), store(std::move(opened)) {}

UxLdaData::~UxLdaData() = default;

TbTypeInfo* UxLdaData::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxLdaData::getClassTypeId() {
  static TbTypeInfo* const record =
      new TbTypeInfo("UxLdaData", nullptr, UxExternalData::getClassTypeId());
  return record;
}

bool UxLdaData::isStoreFolder(const char* path) {
  if (!path || !*path) return false;
  const std::string folder(path);
  return isFile(folder + "/.zattrs") || isFile(folder + "/.zgroup") || isFile(folder + "/zarr.json");
}

UxData* UxLdaData::load(const char* path, bool quiet) {
  std::string why;
  std::unique_ptr<LdaStore> store = LdaStore::open(path, why);
  if (!store) {
    if (!quiet)
      UxMessage::getTheMsg()->printf("load: %s is not an OME-Zarr image this host reads: %s", path,
                                     why.c_str());
    return nullptr;
  }
  UxLdaData* data = new UxLdaData(std::move(store));
  data->formatName = "OME-Zarr";
  UxData::registerData(data, path, nullptr);
  return data;
}

void UxLdaData::getBoundingBox(float* box) const { std::copy(store->box, store->box + 6, box); }

int UxLdaData::numStoredLevels() const { return static_cast<int>(store->levels.size()); }

// The stored level that does most of the reduction without going past it.
int UxLdaData::chooseLevel(const int* shifts) const {
  int best = 0;
  int bestSum = -1;
  for (int i = 0; i < numStoredLevels(); ++i) {
    const int* levelShift = store->levels[i].shift;
    if (levelShift[0] > shifts[0] || levelShift[1] > shifts[1] || levelShift[2] > shifts[2]) continue;
    const int sum = levelShift[0] + levelShift[1] + levelShift[2];
    if (sum > bestSum) {
      best = i;
      bestSum = sum;
    }
  }
  return best;
}

// The box reduced by 2^factorShift from the level's samples, a few slices at a time.
bool UxLdaData::readReduced(int level, const int* origin, const int* size, const int* factorShift,
                            unsigned char* out) {
  const int factor[3] = {1 << factorShift[0], 1 << factorShift[1], 1 << factorShift[2]};
  const size_t sampleBytes = store->sampleBytes();
  const size_t sliceBytes = static_cast<size_t>(size[0]) * factor[0] * size[1] * factor[1] *
                            factor[2] * sampleBytes;
  const int step = static_cast<int>(std::max<size_t>(1, kReductionBytes / sliceBytes));
  std::vector<unsigned char> region;
  std::string why;
  for (int z = 0; z < size[2]; z += step) {
    const int count = std::min(step, size[2] - z);
    const int regionOrigin[3] = {origin[0] * factor[0], origin[1] * factor[1], (origin[2] + z) * factor[2]};
    const int regionSize[3] = {size[0] * factor[0], size[1] * factor[1], count * factor[2]};
    region.resize(sliceBytes * count);
    if (!store->readBox(level, regionOrigin, regionSize, region.data(), why)) {
      UxMessage::getTheMsg()->printf("Error: %s", why.c_str());
      return false;
    }
    TbRawData::downSample3DN(out + z * static_cast<size_t>(size[0]) * size[1] * sampleBytes,
                             TbTypedPointer(region.data(), primType), regionSize[0], regionSize[1],
                             regionSize[2], factor[0], factor[1], factor[2], nDataVar, nullptr);
  }
  return true;
}

int UxLdaData::getBlock(const BlockRequest* request) {
  int shifts[3], origin[3], offset[3];
  for (int a = 0; a < 3; ++a) {
    shifts[a] = shiftOfSubsampling(request->subsampling[a]);
    if (shifts[a] < 0) {
      std::printf("UxLdaData::getBlock: only 2^n subsampling allowed");
      return 0;
    }
    origin[a] = request->origin[a] >> shifts[a];
    offset[a] = origin[a] - (request->bufferOrigin[a] >> shifts[a]);
    if (request->origin[a] < 0 || offset[a] < 0 || request->size[a] < 0 ||
        offset[a] + request->size[a] > request->bufferSize[a])
      return 0;
  }
  const int level = chooseLevel(shifts);
  const int* stored = store->levels[level].shift;
  const int remaining[3] = {shifts[0] - stored[0], shifts[1] - stored[1], shifts[2] - stored[2]};
  const size_t boxBytes = static_cast<size_t>(request->size[0]) * request->size[1] *
                          request->size[2] * store->sampleBytes();
  std::vector<unsigned char> box;
  try {
    box.resize(boxBytes);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  std::string why;
  if (remaining[0] || remaining[1] || remaining[2]) {
    if (!readReduced(level, origin, request->size, remaining, box.data())) return 0;
  } else if (!store->readBox(level, origin, request->size, box.data(), why)) {
    UxMessage::getTheMsg()->printf("Error: %s", why.c_str());
    return 0;
  }
  copyIntoBuffer(box.data(), request->size, static_cast<unsigned char*>(request->data),
                 request->bufferSize, offset, store->sampleBytes());
  return 1;
}
