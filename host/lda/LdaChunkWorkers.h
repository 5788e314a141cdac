#pragma once
// LdaChunkWorkers: compresses and writes the chunks of an lda store on all
// cores while the converter reads and reduces the next slab.
//
// submit hands over one chunk (its key below `root` and its bytes, already in
// the store's byte order); it blocks while `maxQueued` chunks wait, so memory
// stays bounded whatever the volume's size. Each chunk is written through the
// file seam into a file of its own, or, given its place in a shard, into the
// shard through the shard files (LdaShardFiles); either is synced before it
// counts as written, so a store whose chunks are all written survives a power
// cut once its folders are synced. A chunk that holds only zero bytes is not
// written: a reader takes a missing chunk as the fill value 0. The first failure (a codec refusing its input, a file
// that cannot be created, written or synced, a full disk) is kept; later
// chunks are dropped, submit answers false from then on, and finish answers
// false after waiting for the threads to go idle. error() then tells which
// file failed and why. abandon drops the chunks still queued and waits only
// for those being written (one per thread), for a quick stop. Buffers handed
// back by takeBuffer are recycled ones, so steady work allocates none. The
// destructor abandons what is left.
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class LdaShardFiles;
class SoDataCompressor;

// Where a chunk goes in its shard: its place, the shard's places, and how
// many of the shard's chunks the level has.
struct LdaShardPlace {
  int place = -1;  // -1: the chunk has a file of its own
  int places = 0;
  int expected = 0;
  int ticket = 0;  // from LdaShardFiles::ticket, taken when the chunk is handed over
};

class LdaChunkWorkers {
 public:
  using Bytes = std::vector<unsigned char>;

  // codec null: chunks are stored as they are; shards null: no shards.
  LdaChunkWorkers(const SoDataCompressor* codec, std::string root, int threads, int maxQueued,
                  LdaShardFiles* shards = nullptr);
  ~LdaChunkWorkers();
  LdaChunkWorkers(const LdaChunkWorkers&) = delete;
  LdaChunkWorkers& operator=(const LdaChunkWorkers&) = delete;

  // A buffer of `bytes` bytes, of unspecified content.
  Bytes takeBuffer(size_t bytes);
  bool submit(std::string key, Bytes bytes, LdaShardPlace place = LdaShardPlace());
  bool finish();
  void abandon();
  std::string error() const;
  // Bytes the workers may hold at most: queued and spare chunks, one chunk
  // and its compressed stream per thread.
  static size_t bytesHeld(size_t chunkBytes, int threads, int maxQueued);

 private:
  struct Job {
    std::string key;
    Bytes bytes;
    LdaShardPlace place;
  };
  void work();
  void store(const Job& job, Bytes& compressed);
  void fail(const std::string& why);

  const SoDataCompressor* codec;
  const std::string root;
  LdaShardFiles* const shards;
  const size_t maxQueued;
  mutable std::mutex mutex;
  std::condition_variable queueChanged;
  std::deque<Job> queue;
  std::vector<Bytes> spare;
  int busy = 0;
  bool stopping = false;
  bool failed = false;
  std::string firstError;
  std::vector<std::thread> threads;
};
