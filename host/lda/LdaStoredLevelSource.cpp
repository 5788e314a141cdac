#include "host/lda/LdaStoredLevelSource.h"

#include <nlohmann/json.hpp>

#include "host/console/UxMessage.h"
#include "host/lda/LdaStore.h"

std::unique_ptr<LdaStoredLevelSource> LdaStoredLevelSource::open(const std::string& folder, int level,
                                                                 std::string& why) {
  std::unique_ptr<LdaStoredLevelSource> source(new LdaStoredLevelSource);
  source->store = LdaStore::open(folder, why);
  if (!source->store) return nullptr;
  if (level >= static_cast<int>(source->store->levels.size())) {
    why = "level " + std::to_string(level) + " is not in the store";
    return nullptr;
  }
  source->level = level;
  const LdaStoredLevel& stored = source->store->levels[level];
  for (int a = 0; a < 3; ++a) source->dims[a] = stored.dims[a];
  source->nDataVar = source->store->nDataVar;
  source->primType = source->store->primType;
  return source;
}

LdaStoredLevelSource::~LdaStoredLevelSource() = default;

bool LdaStoredLevelSource::read(const LdaRegion& region, int first, int count, unsigned char* out) {
  const int origin[3] = {region.x0, region.y0, first};
  const int size[3] = {region.width, region.height, count};
  std::string why;
  if (store->readBox(level, origin, size, out, why)) return true;
  UxMessage::getTheMsg()->printf("Error: %s", why.c_str());
  return false;
}

// The store's reader decodes one chunk at a time.
size_t LdaStoredLevelSource::fixedWorkingBytes() const {
  return 2 * store->levels[level].chunkElements * store->sampleBytes();
}

nlohmann::json LdaStoredLevelSource::describe() const { return nlohmann::json(); }
