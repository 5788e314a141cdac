// LdaStore::readBox: boxes of one level, chunk by chunk.
#include "host/lda/LdaStore.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "host/base/TbCPUInfo.h"
#include "host/base/TbFileContents.h"
#include "host/rawdata/TbRawData.h"

namespace {

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

// The most a codec's stream of `bytes` bytes can take: every codec here adds
// well under a sixteenth plus a fixed header to data it cannot shrink.
int64_t largestStream(const LdaStoredLevel& level) {
  const int64_t bytes = static_cast<int64_t>(level.chunkBytes);
  return level.codec ? bytes + bytes / 16 + 65536 : bytes;
}

}  // namespace

bool LdaStore::readChunk(const LdaStoredLevel& level, const std::vector<long long>& index,
                         std::vector<unsigned char>& chunk, bool& missing, std::string& why) const {
  std::string key;
  for (size_t i = 0; i < index.size(); ++i)
    key += (i ? std::string(1, level.separator) : std::string()) + std::to_string(index[i]);
  std::vector<unsigned char> stored;
  std::string reason;
  const TbFileRead read = readRegularFile(level.folder + "/" + key, largestStream(level), stored, reason);
  missing = read == TbFileRead::MISSING;
  if (missing) return true;
  bool decoded = read == TbFileRead::OK;
  if (decoded && level.codec)
    decoded = level.codec->decompress(stored.data(), stored.size(), chunk.data(), chunk.size());
  else if (decoded && stored.size() != chunk.size())
    decoded = false;
  if (!decoded) {
    why = "chunk " + level.folder + "/" + key + (read == TbFileRead::OK ? " cannot be decoded" : " " + reason);
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
    const int high = static_cast<int>(std::min<int64_t>(int64_t(origin[a]) + size[a], level.dims[a]));
    if (low >= high) return true;
    first[a] = low / chunk[a];
    last[a] = (high - 1) / chunk[a];
  }
  const int channelChunk = channelAxis >= 0 ? level.chunks[channelAxis] : 1;
  std::vector<unsigned char> buffer(level.chunkBytes);
  std::vector<long long> index(level.shape.size(), 0);
  for (int ic = 0; static_cast<int64_t>(ic) * channelChunk < nDataVar; ++ic)
    for (int iz = first[2]; iz <= last[2]; ++iz)
      for (int iy = first[1]; iy <= last[1]; ++iy)
        for (int ix = first[0]; ix <= last[0]; ++ix) {
          if (channelAxis >= 0) index[channelAxis] = ic;
          const int at[3] = {ix, iy, iz};
          for (int a = 0; a < 3; ++a) index[axisOf[a]] = at[a];
          bool missing = false;
          buffer.resize(level.chunkBytes);
          if (!readChunk(level, index, buffer, missing, why)) return false;
          if (missing) continue;
          int low[3], high[3];
          for (int a = 0; a < 3; ++a) {
            low[a] = std::max<int64_t>(origin[a], int64_t(at[a]) * chunk[a]);
            high[a] = static_cast<int>(std::min({int64_t(origin[a]) + size[a], (int64_t(at[a]) + 1) * chunk[a],
                                                 int64_t(level.dims[a])}));
          }
          const int width = high[0] - low[0];
          const int lastComponent = static_cast<int>(std::min<int64_t>(nDataVar, (int64_t(ic) + 1) * channelChunk));
          for (int c = ic * channelChunk; c < lastComponent; ++c)
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
