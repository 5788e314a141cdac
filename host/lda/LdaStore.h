#pragma once
// LdaStore: an OME-Zarr 0.4 image on disk, opened for reading: lda stores
// written by this host and images written by other tools alike.
//
// open reads the group's ".zattrs" (the first "multiscales" entry) and every
// dataset's ".zarray". It accepts axes z, y, x, optionally led by a channel
// axis and a time axis of length 1; Zarr version 2 arrays in C order without
// filters, of the host's element types in either byte order, compressed with
// zlib, zstd or lz4 (numcodecs' streams) or not at all, with "/" or "."
// between chunk indices and any chunk shape. A dataset whose scale is not a
// power-of-two multiple of level 0's (per axis) is not used. Anything else is
// refused: open answers null with `why` naming the file and what does not
// fit. Metadata is read as untrusted text: a file that is not a regular file
// (a pipe, a device) is refused without waiting on it, as is one above 16 MiB,
// JSON nested too deeply, a value of the wrong kind, a path leaving the
// store, or sizes beyond what this host reads (a decoded chunk above 512 MiB,
// more than 4096 channels, an axis beyond 2^31 - 1 samples).
//
// readBox fills a box of one level (origin and size in that level's samples)
// x fastest, components together, host byte order; samples beyond the level
// and chunks that are missing take the array's fill value. It answers false,
// with `why` naming the chunk, for a chunk that cannot be read or decoded: one
// that is not a regular file, is larger than its codec could have made it, or
// does not decode to exactly the chunk's size.
#include <memory>
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"
#include "host/lda/LdaCodecs.h"

struct LdaStoredLevel {
  std::string folder;
  std::vector<long long> shape;  // in the array's axis order
  std::vector<int> chunks;
  size_t chunkBytes;  // decoded
  int shift[3];  // the level holds level 0 reduced by 2^shift on x, y, z
  int dims[3];   // x, y, z samples
  char separator;
  bool bigEndian;
  std::shared_ptr<const SoDataCompressor> codec;  // null: stored as they are
  double fillValue;
};

class LdaStore {
 public:
  static std::unique_ptr<LdaStore> open(const std::string& path, std::string& why);

  bool readBox(int level, const int* origin, const int* size, unsigned char* out,
               std::string& why) const;
  size_t sampleBytes() const { return static_cast<size_t>(nDataVar) * primType.size(); }

  int dims[3];
  int nDataVar = 1;
  TbPrimType primType;
  float box[6];
  std::vector<LdaStoredLevel> levels;
  // Index of each role in the arrays' axes; -1 when absent.
  int axisOf[3];  // x, y, z
  int channelAxis = -1;
  int timeAxis = -1;

 private:
  LdaStore() = default;
  bool readChunk(const LdaStoredLevel& level, const std::vector<long long>& index,
                 std::vector<unsigned char>& chunk, bool& missing, std::string& why) const;
};

// The largest decoded chunk a store may have, and the metadata files' limit.
const size_t kLdaMaxChunkBytes = size_t(512) << 20;
const int64_t kLdaMaxMetadataBytes = int64_t(16) << 20;
