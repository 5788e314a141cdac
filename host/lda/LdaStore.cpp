// LdaStore::readBox: boxes of one level, chunk by chunk, from chunk files or
// from shards.
#include "host/lda/LdaStore.h"

#include <fcntl.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/base/TbFileContents.h"
#include "host/base/TbFileIO.h"
#include "host/lda/LdaCrc32c.h"

namespace {

const uint64_t kNoChunk = ~uint64_t(0);

template <class T>
void fillAs(unsigned char* out, size_t count, double value) {
  const T typed = static_cast<T>(value);  // the store's fill value fits T (checked at open)
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

uint32_t littleEndian32(const unsigned char* bytes) {
  return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

uint64_t littleEndian64(const unsigned char* bytes) {
  uint64_t value = 0;
  for (int b = 7; b >= 0; --b) value = value << 8 | bytes[b];
  return value;
}

std::string keyOf(const LdaStoredLevel& level, const std::vector<long long>& index) {
  std::string key = level.keyPrefix;
  for (size_t i = 0; i < index.size(); ++i)
    key += (i ? std::string(1, level.separator) : std::string()) + std::to_string(index[i]);
  return key;
}

TbFileIO& io() { return TbFileIO::current(); }

}  // namespace

bool LdaStore::readStored(const LdaStoredLevel& level, const std::vector<long long>& index,
                          std::vector<unsigned char>& stored, bool& missing, std::string& why) const {
  if (level.sharded) return readFromShard(level, index, stored, missing, why);
  const std::string key = keyOf(level, index);
  std::string reason;
  const int64_t largest = level.pipeline.largestStream(level.chunkElements * level.element.bytes);
  const TbFileRead read = readRegularFile(level.folder + "/" + key, largest, stored, reason);
  missing = read == TbFileRead::MISSING;
  if (read != TbFileRead::REFUSED) return true;
  why = "chunk " + level.folder + "/" + key + " " + reason;
  return false;
}

// The index of the shard `key` (its chunks' offsets and lengths, in C order),
// kept for the next chunk of the same shard. A missing shard has no chunks.
bool LdaStore::loadShardIndex(const LdaStoredLevel& level, const std::string& key, std::string& why) const {
  if (shardIndex.key == key) return true;
  shardIndex = ShardIndex();
  size_t chunks = 1;
  for (int count : level.shardChunks) chunks *= static_cast<size_t>(count);
  const int64_t indexBytes = static_cast<int64_t>(chunks) * 16 + 4 * level.indexChecksums;
  std::string reason;
  const int fd = openRegularFile(level.folder + "/" + key, reason);
  if (fd < 0 && reason.empty()) {
    shardIndex.key = key;
    shardIndex.entries.assign(2 * chunks, kNoChunk);
    return true;
  }
  TbFileInfo info;
  std::vector<unsigned char> bytes(static_cast<size_t>(indexBytes));
  if (fd >= 0 && io().fstat(fd, &info) == 0 && info.size >= indexBytes &&
      io().pread(fd, bytes.data(), indexBytes, level.indexAtEnd ? info.size - indexBytes : 0) == indexBytes) {
    shardIndex.fileBytes = info.size;
  } else if (reason.empty()) {
    reason = "has no index of " + std::to_string(indexBytes) + " bytes";
  }
  if (fd >= 0) io().close(fd);
  for (int i = 0; reason.empty() && i < level.indexChecksums; ++i) {
    const size_t body = bytes.size() - 4;
    if (crc32c(bytes.data(), body) != littleEndian32(bytes.data() + body))
      reason = "has an index that fails its checksum";
    bytes.resize(body);
  }
  if (!reason.empty()) {
    why = "shard " + level.folder + "/" + key + " " + reason;
    return false;
  }
  shardIndex.entries.resize(2 * chunks);
  for (size_t i = 0; i < 2 * chunks; ++i) shardIndex.entries[i] = littleEndian64(bytes.data() + 8 * i);
  shardIndex.key = key;
  return true;
}

bool LdaStore::readFromShard(const LdaStoredLevel& level, const std::vector<long long>& index,
                             std::vector<unsigned char>& stored, bool& missing, std::string& why) const {
  std::vector<long long> shard(index.size());
  size_t inner = 0;
  for (size_t a = 0; a < index.size(); ++a) {
    shard[a] = index[a] / level.shardChunks[a];
    inner = inner * level.shardChunks[a] + static_cast<size_t>(index[a] % level.shardChunks[a]);
  }
  const std::string key = keyOf(level, shard);
  if (!loadShardIndex(level, key, why)) return false;
  const uint64_t offset = shardIndex.entries[2 * inner], length = shardIndex.entries[2 * inner + 1];
  missing = offset == kNoChunk && length == kNoChunk;
  if (missing) return true;
  const uint64_t largest = static_cast<uint64_t>(level.pipeline.largestStream(level.chunkElements * level.element.bytes));
  const uint64_t fileBytes = static_cast<uint64_t>(shardIndex.fileBytes);
  std::string reason;
  if (length > largest || offset > fileBytes || length > fileBytes - offset) reason = "points outside its file";
  const int fd = reason.empty() ? openRegularFile(level.folder + "/" + key, reason) : -1;
  if (fd >= 0) {
    stored.resize(static_cast<size_t>(length));
    if (io().pread(fd, stored.data(), static_cast<int64_t>(length), static_cast<int64_t>(offset)) !=
        static_cast<int64_t>(length))
      reason = "cannot be read";
    io().close(fd);
  } else if (reason.empty()) {
    reason = "is gone";
  }
  if (reason.empty()) return true;
  why = "chunk " + std::to_string(inner) + " of shard " + level.folder + "/" + key + " " + reason;
  shardIndex = ShardIndex();
  return false;
}

bool LdaStore::readChunk(const LdaStoredLevel& level, const std::vector<long long>& index,
                         std::vector<unsigned char>& chunk, bool& missing, std::string& why) const {
  std::vector<unsigned char> stored;
  if (!readStored(level, index, stored, missing, why)) return false;
  if (missing) return true;
  const size_t storedBytes = level.chunkElements * level.element.bytes;
  unsigned char* target = level.element.readAsIs() ? chunk.data() : (decoded.resize(storedBytes), decoded.data());
  if (!level.pipeline.decode(stored, target, storedBytes)) {
    why = "chunk " + level.folder + "/" + keyOf(level, index) + " cannot be decoded";
    return false;
  }
  toHostElements(level.element, target, level.chunkElements, chunk.data());
  return true;
}

bool LdaStore::readBox(int levelIndex, const int* origin, const int* size, unsigned char* out,
                       std::string& why) const {
  const LdaStoredLevel& level = levels[levelIndex];
  const size_t elementBytes = primType.size();
  const size_t sampleSize = sampleBytes();
  fillElements(out, static_cast<size_t>(size[0]) * size[1] * size[2] * nDataVar, primType, level.fillValue);
  int first[3], last[3], chunk[3];
  for (int a = 0; a < 3; ++a) {
    chunk[a] = axisOf[a] >= 0 ? level.chunks[axisOf[a]] : 1;
    const int low = std::max(origin[a], 0);
    const int high = static_cast<int>(std::min<int64_t>(int64_t(origin[a]) + size[a], level.dims[a]));
    if (low >= high) return true;
    first[a] = low / chunk[a];
    last[a] = (high - 1) / chunk[a];
  }
  const int channelChunk = channelAxis >= 0 ? level.chunks[channelAxis] : 1;
  std::vector<unsigned char> buffer(level.chunkElements * elementBytes);
  std::vector<long long> index(level.shape.size(), 0);
  for (int ic = 0; static_cast<int64_t>(ic) * channelChunk < nDataVar; ++ic)
    for (int iz = first[2]; iz <= last[2]; ++iz)
      for (int iy = first[1]; iy <= last[1]; ++iy)
        for (int ix = first[0]; ix <= last[0]; ++ix) {
          if (channelAxis >= 0) index[channelAxis] = ic;
          const int at[3] = {ix, iy, iz};
          for (int a = 0; a < 3; ++a)
            if (axisOf[a] >= 0) index[axisOf[a]] = at[a];
          bool missing = false;
          if (!readChunk(level, index, buffer, missing, why)) return false;
          if (missing) continue;
          int low[3], high[3];
          for (int a = 0; a < 3; ++a) {
            low[a] = static_cast<int>(std::max<int64_t>(origin[a], int64_t(at[a]) * chunk[a]));
            high[a] = static_cast<int>(std::min({int64_t(origin[a]) + size[a], (int64_t(at[a]) + 1) * chunk[a],
                                                 int64_t(level.dims[a])}));
          }
          const int width = high[0] - low[0];
          const int lastComponent = static_cast<int>(std::min<int64_t>(nDataVar, (int64_t(ic) + 1) * channelChunk));
          for (int c = ic * channelChunk; c < lastComponent; ++c)
            for (int z = low[2]; z < high[2]; ++z)
              for (int y = low[1]; y < high[1]; ++y) {
                const size_t from = ((static_cast<size_t>(c - ic * channelChunk) * chunk[2] + (z - iz * chunk[2])) *
                                         chunk[1] + (y - iy * chunk[1])) * chunk[0] + (low[0] - ix * chunk[0]);
                const size_t to = ((static_cast<size_t>(z - origin[2]) * size[1] + (y - origin[1])) * size[0] +
                                   (low[0] - origin[0])) * sampleSize + c * elementBytes;
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
