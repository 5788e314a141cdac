#include "host/lda/UxLdaData.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "host/console/UxMessage.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaStore.h"
#include "host/types/TbTypeInfo.h"

namespace {

// The type exists once the library is loaded, so scripts can name it.
TbTypeInfo* const ldaDataType = UxLdaData::getClassTypeId();

// Memory one step of an in-memory reduction may read at once.
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

int ceilDiv(int64_t a, int64_t b) { return static_cast<int>((a + b - 1) / b); }

// Copies a box of samples into the part of a larger buffer that starts at `offset`.
void copyIntoBuffer(const unsigned char* box, const int* size, unsigned char* buffer, const int* bufferSize,
                    const int* offset, size_t sampleBytes) {
  const size_t rowBytes = size[0] * sampleBytes;
  for (int z = 0; z < size[2]; ++z)
    for (int y = 0; y < size[1]; ++y) {
      const size_t to = (static_cast<size_t>(z + offset[2]) * bufferSize[1] + y + offset[1]) * bufferSize[0] + offset[0];
      std::memcpy(buffer + to * sampleBytes, box + (static_cast<size_t>(z) * size[1] + y) * rowBytes, rowBytes);
    }
}

void reportFailure(const std::string& why) { UxMessage::getTheMsg()->printf("Error: %s", why.c_str()); }

}  // namespace

UxLdaData::UxLdaData(std::unique_ptr<LdaStore> opened)
    : UxExternalData(opened->dims, opened->nDataVar, opened->primType), store(std::move(opened)) {}

UxLdaData::~UxLdaData() = default;

TbTypeInfo* UxLdaData::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxLdaData::getClassTypeId() {
  static TbTypeInfo* const record = new TbTypeInfo("UxLdaData", nullptr, UxExternalData::getClassTypeId());
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
      UxMessage::getTheMsg()->printf("load: %s is not an OME-Zarr image this host reads: %s", path, why.c_str());
    return nullptr;
  }
  UxLdaData* data = new UxLdaData(std::move(store));
  data->formatName = "OME-Zarr";
  UxData::registerData(data, path, nullptr);
  return data;
}

void UxLdaData::getBoundingBox(float* box) const { std::copy(store->box, store->box + 6, box); }

int UxLdaData::numStoredLevels() const { return static_cast<int>(store->levels.size()); }

// The coarsest stored level whose factors divide the subsampling and which
// holds the samples under the box, whose end (at the subsampling) is `end`.
int UxLdaData::chooseLevel(const int* shifts, const int* end) const {
  int best = 0;
  int64_t bestFactors = 0;
  for (int i = 0; i < numStoredLevels(); ++i) {
    const LdaStoredLevel& level = store->levels[i];
    bool usable = true;
    int64_t factors = 1;
    for (int a = 0; a < 3 && usable; ++a) {
      const int64_t subsampling = int64_t(1) << shifts[a];
      usable = subsampling % level.factor[a] == 0;
      const int64_t needed = std::min<int64_t>(end[a] * (subsampling / std::max(level.factor[a], 1)),
                                               ceilDiv(store->dims[a], level.factor[a]));
      usable = usable && needed <= level.dims[a];
      factors *= level.factor[a];
    }
    if (usable && factors > bestFactors) {
      best = i;
      bestFactors = factors;
    }
  }
  return best;
}

// The part of a box that lies in the volume: read from its level, and halved
// in memory as often as the level is finer than asked, a group of slices at a time.
bool UxLdaData::readInside(const int* shifts, const int* origin, const int* size, unsigned char* out) {
  const int end[3] = {origin[0] + size[0], origin[1] + size[1], origin[2] + size[2]};
  const LdaStoredLevel& level = store->levels[chooseLevel(shifts, end)];
  const int levelIndex = static_cast<int>(&level - store->levels.data());
  int times[3], complete[3];
  for (int a = 0; a < 3; ++a) {
    times[a] = (1 << shifts[a]) / level.factor[a];
    complete[a] = ceilDiv(store->dims[a], level.factor[a]);
  }
  std::string why;
  if (times[0] == 1 && times[1] == 1 && times[2] == 1) {
    if (store->readBox(levelIndex, origin, size, out, why)) return true;
    reportFailure(why);
    return false;
  }
  const size_t sampleBytes = store->sampleBytes();
  const size_t sourceSlice = static_cast<size_t>(size[0]) * times[0] * size[1] * times[1] * sampleBytes;
  const int step = static_cast<int>(std::max<size_t>(1, kReductionBytes / (sourceSlice * times[2])));
  std::vector<unsigned char> region, halved;
  for (int z = 0; z < size[2]; z += step) {
    const int count = std::min(step, size[2] - z);
    int from[3] = {origin[0] * times[0], origin[1] * times[1], (origin[2] + z) * times[2]};
    int dims[3] = {std::min(end[0] * times[0], complete[0]) - from[0], std::min(end[1] * times[1], complete[1]) - from[1],
                   std::min((origin[2] + z + count) * times[2], complete[2]) - from[2]};
    region.resize(static_cast<size_t>(dims[0]) * dims[1] * dims[2] * sampleBytes);
    if (!store->readBox(levelIndex, from, dims, region.data(), why)) {
      reportFailure(why);
      return false;
    }
    for (int left[3] = {times[0], times[1], times[2]}; left[0] > 1 || left[1] > 1 || left[2] > 1;) {
      const bool halve[3] = {left[0] > 1, left[1] > 1, left[2] > 1};
      halved.resize(static_cast<size_t>((dims[0] + halve[0]) >> halve[0]) * ((dims[1] + halve[1]) >> halve[1]) *
                    ((dims[2] + halve[2]) >> halve[2]) * sampleBytes);
      halveBox(region.data(), dims, halve, halved.data(), store->nDataVar, store->primType,
               store->sampling == LdaStore::NEAREST ? LDA_SHARP : LDA_AVERAGE);
      region.swap(halved);
      for (int a = 0; a < 3; ++a)
        if (halve[a]) {
          dims[a] = (dims[a] + 1) / 2;
          left[a] /= 2;
        }
    }
    std::memcpy(out + static_cast<size_t>(z) * size[0] * size[1] * sampleBytes, region.data(), region.size());
  }
  return true;
}

int UxLdaData::getBlock(const BlockRequest* request) {
  int shifts[3], origin[3], offset[3], inside[3];
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
    // Beyond the volume at this subsampling there is nothing to read: those samples stay 0.
    inside[a] = std::max(0, std::min(request->size[a], ceilDiv(store->dims[a], int64_t(1) << shifts[a]) - origin[a]));
  }
  std::vector<unsigned char> box;
  try {
    box.assign(static_cast<size_t>(request->size[0]) * request->size[1] * request->size[2] * store->sampleBytes(), 0);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  if (inside[0] > 0 && inside[1] > 0 && inside[2] > 0) {
    std::vector<unsigned char> part(static_cast<size_t>(inside[0]) * inside[1] * inside[2] * store->sampleBytes());
    if (!readInside(shifts, origin, inside, part.data())) return 0;
    const int zero[3] = {0, 0, 0};
    copyIntoBuffer(part.data(), inside, box.data(), request->size, zero, store->sampleBytes());
  }
  copyIntoBuffer(box.data(), request->size, static_cast<unsigned char*>(request->data), request->bufferSize, offset,
                 store->sampleBytes());
  return 1;
}
