#pragma once
// LdaStore: an OME-Zarr image on disk, opened for reading: lda stores written
// by this host and images written by other tools alike.
//
// open finds the image — the group at `path`, or its series 0 in the
// subfolder "0" of a converter's layout (a root whose attributes name no
// image but its layout, "bioformats2raw.layout") — and reads its first
// multiscale and every dataset's array: OME-Zarr 0.4 (or no version given)
// on Zarr version 2 arrays (".zattrs", ".zarray"), or OME-Zarr 0.5 on Zarr
// version 3 arrays ("zarr.json"), sharded or not. Axes are x and y, with z
// (an image without z is a volume of one slice), led optionally by a channel
// axis and a time axis of length 1. Arrays are read in C order, of the
// element types LdaStoredElement names, with the codecs LdaCodecPipeline
// names and any chunk shape. A dataset whose scale is not a whole multiple
// of level 0's on each axis is not used. Anything else is refused: open
// answers null with `why` naming the file and what does not fit. Metadata is
// read as untrusted text: a file that is not a regular file (a pipe, a
// device) is refused without waiting on it, as is one above 16 MiB, JSON
// nested too deeply, a value of the wrong kind, a path leaving the store, or
// sizes beyond what this host reads (a decoded chunk above 512 MiB, a shard
// of more than 2^20 chunks, more than 4096 channels, an axis beyond 2^31 - 1
// samples).
//
// readBox fills a box of one level (origin and size in that level's samples)
// x fastest, components together, host byte order; samples beyond the level
// and chunks that are missing take the array's fill value. It answers false,
// with `why` naming the chunk, for a chunk that cannot be read or decoded: one
// that is not a regular file, is larger than its codecs could have made it,
// lies outside its shard, or does not decode to exactly the chunk's size. A
// store serves one thread at a time.
#include <memory>
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"
#include "host/lda/LdaCodecPipeline.h"
#include "host/lda/LdaStoredElement.h"

struct LdaStoredLevel {
  std::string folder;
  std::vector<long long> shape;  // in the array's axis order
  std::vector<int> chunks;       // of one (inner) chunk, in the array's axis order
  size_t chunkElements = 0;
  LdaStoredElement element;
  LdaCodecPipeline pipeline;
  std::string keyPrefix;  // before the chunk indices: "" or "c" and the separator
  char separator = '.';
  bool sharded = false;
  std::vector<int> shardChunks;  // chunks per shard along each axis
  bool indexAtEnd = true;
  int indexChecksums = 0;
  int factor[3] = {1, 1, 1};  // the level holds level 0 reduced by these factors on x, y, z
  int dims[3] = {1, 1, 1};    // x, y, z samples
  double fillValue = 0;
};

class LdaStore {
 public:
  enum Sampling { MEAN, NEAREST };

  static std::unique_ptr<LdaStore> open(const std::string& path, std::string& why);

  bool readBox(int level, const int* origin, const int* size, unsigned char* out, std::string& why) const;
  size_t sampleBytes() const { return static_cast<size_t>(nDataVar) * primType.size(); }

  int dims[3] = {1, 1, 1};
  int nDataVar = 1;
  TbPrimType primType;
  float box[6];
  Sampling sampling = MEAN;
  std::vector<LdaStoredLevel> levels;
  // Index of each role in the arrays' axes; -1 when absent.
  int axisOf[3] = {-1, -1, -1};  // x, y, z
  int channelAxis = -1;
  int timeAxis = -1;

 private:
  struct ShardIndex {
    std::string key;
    std::vector<uint64_t> entries;  // offset and length of each chunk
    int64_t fileBytes = 0;
  };

  LdaStore() = default;
  bool readChunk(const LdaStoredLevel& level, const std::vector<long long>& index, std::vector<unsigned char>& chunk,
                 bool& missing, std::string& why) const;
  bool readStored(const LdaStoredLevel& level, const std::vector<long long>& index,
                  std::vector<unsigned char>& stored, bool& missing, std::string& why) const;
  bool readFromShard(const LdaStoredLevel& level, const std::vector<long long>& index,
                     std::vector<unsigned char>& stored, bool& missing, std::string& why) const;
  bool loadShardIndex(const LdaStoredLevel& level, const std::string& key, std::string& why) const;

  mutable ShardIndex shardIndex;  // of the last shard read
  mutable std::vector<unsigned char> decoded;
};

// The largest decoded chunk a store may have, and the metadata files' limit.
const size_t kLdaMaxChunkBytes = size_t(512) << 20;
const int64_t kLdaMaxMetadataBytes = int64_t(16) << 20;
