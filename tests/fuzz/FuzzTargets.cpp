#include "FuzzTargets.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "blockstore/SetCheck.h"
#include "host/codecs/SoDataCompressors.h"
#include "host/lda/LdaStore.h"
#include "host/console/UxMessage.h"
#include "support/DiskDataOpen.h"
#include "support/TempDir.h"

namespace {

std::string take(const uint8_t*& data, size_t& size, bool framed) {
  size_t n = size;
  if (framed) {
    n = size >= 2 ? data[0] | data[1] << 8 : 0;
    const size_t header = size >= 2 ? 2 : size;
    data += header;
    size -= header;
    if (n > size) n = size;
  }
  std::string part(reinterpret_cast<const char*>(data), n);
  data += n;
  size -= n;
  return part;
}

void readEveryLevel(UxDiskData& data) {
  const int* dims = data.latticeManager->dims;
  for (int level = 0; level <= data.latticeManager->numLevels; ++level) {
    UxExternalData::BlockRequest request;
    int64_t samples = data.latticeManager->sampleBytes();
    for (int a = 0; a < 3; ++a) {
      request.size[a] = request.bufferSize[a] = (dims[a] + (1 << level) - 1) >> level;
      request.subsampling[a] = 1 << level;
      samples *= request.size[a];
    }
    std::vector<unsigned char> buffer(static_cast<size_t>(samples));
    request.data = buffer.data();
    data.getBlock(&request);
  }
}

}  // namespace

int fuzzDescription(const uint8_t* data, size_t size) {
  UxMessage::getTheMsg()->setListener([](const std::string&) {});
  TempDir dir;
  writeWholeFile(dir.file("d.km"), std::string(reinterpret_cast<const char*>(data), size));
  if (UxDiskData* opened = openDiskData(dir.file("d.km"), true)) UxObjectPool::getThePool()->remove(opened);
  UxMessage::getTheMsg()->setListener(nullptr);
  return 0;
}

int fuzzSetOpening(const uint8_t* data, size_t size) {
  UxMessage::getTheMsg()->setListener([](const std::string&) {});
  TempDir dir;
  const std::string name = dir.file("s.km");
  writeWholeFile(name, take(data, size, true));
  const std::string files[3] = {"-SUPR.dat", "-INTN.dat", "-0000.dat"};
  for (int part = 0; part < 3; ++part) {
    const std::string bytes = take(data, size, part < 2);
    if (!bytes.empty() || part != 1) writeWholeFile(name + files[part], bytes);
  }
  if (UxDiskData* opened = openDiskData(name, true)) {
    checkSet(*opened->latticeManager);
    readEveryLevel(*opened);
    std::vector<unsigned char> sample(static_cast<size_t>(opened->latticeManager->sampleBytes()));
    const int origin[3] = {0, 0, 0}, one[3] = {1, 1, 1};
    opened->latticeManager->putBlock(sample.data(), origin, one, origin, one);
    opened->updateAllLevels();
    readEveryLevel(*opened);
    UxObjectPool::getThePool()->remove(opened);
  }
  UxMessage::getTheMsg()->setListener(nullptr);
  return 0;
}

int fuzzLdaStore(const uint8_t* data, size_t size) {
  initDataCompressors();
  TempDir dir;
  const std::string store = dir.file("s.zarr");
  const bool version3 = size > 0 && (data[0] & 1);
  if (size > 0) ++data, --size;
  std::filesystem::create_directories(store + "/0");
  writeWholeFile(store + (version3 ? "/zarr.json" : "/.zattrs"), take(data, size, true));
  writeWholeFile(store + (version3 ? "/0/zarr.json" : "/0/.zarray"), take(data, size, true));
  const std::string chunk = take(data, size, false);
  for (const char* key : {"/0/0/0/0", "/0/0.0.0", "/0/0.0.0.0", "/0/0/0/0/0", "/0/c/0/0/0", "/0/c/0/0/0/0", "/0/c.0.0.0"}) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(store + key).parent_path(), ignored);
    writeWholeFile(store + key, chunk);
  }
  std::string why;
  std::unique_ptr<LdaStore> opened = LdaStore::open(store, why);
  for (size_t level = 0; opened && level < opened->levels.size(); ++level) {
    int origin[3] = {0, 0, 0}, box[3];
    for (int a = 0; a < 3; ++a) box[a] = std::min(opened->levels[level].dims[a], 16);
    std::vector<unsigned char> out(static_cast<size_t>(box[0]) * box[1] * box[2] * opened->sampleBytes());
    opened->readBox(static_cast<int>(level), origin, box, out.data(), why);
  }
  return 0;
}
