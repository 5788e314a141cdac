#pragma once
// LdaShardFiles: the shard files of a store being written (Zarr version 3's
// sharding), filled by the chunk workers in whatever order they finish.
//
// The writer takes a ticket for each chunk of a shard, in the order it hands
// the chunks over; add then puts the chunk's compressed bytes (or, with none,
// a chunk that holds only zeros and is not stored) at its place. Chunks are
// appended to the shard file in ticket order, whatever order the workers
// finish in — a chunk that comes early waits in memory for those before it —
// so a shard's bytes depend only on its chunks. When the last of the shard's
// `expected` chunks is written, the shard's index follows — an offset and a
// length for each of its `places` places, 8 little-endian bytes each, all
// ones for an empty place, then the index's CRC-32C — and the file is synced
// and done. A shard whose chunks all hold only zeros gets no file. add
// answers 0, or the errno of the first call that failed (a write falling
// short counts as a full disk); the shard is then left unfinished.
// Thread-safe. Every file call goes through the file seam.
#include <map>
#include <mutex>
#include <string>
#include <vector>

class LdaShardFiles {
 public:
  explicit LdaShardFiles(std::string root);

  int ticket(const std::string& key);
  int add(const std::string& key, int ticket, int place, int places, int expected, const unsigned char* data,
          size_t bytes);

 private:
  struct Piece {
    int place;
    std::vector<unsigned char> bytes;
    unsigned long long offset = 0;
  };
  struct Shard {
    std::vector<unsigned char> index;
    std::map<int, Piece> waiting;  // by ticket
    int tickets = 0;
    int next = 0;
    int written = 0;
    unsigned long long end = 0;
  };
  std::vector<Piece> takeReady(Shard& shard);
  int finish(const std::string& path, const Shard& shard);

  const std::string root;
  std::mutex mutex;
  std::map<std::string, Shard> shards;
};
