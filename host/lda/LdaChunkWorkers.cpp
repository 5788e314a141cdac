#include "host/lda/LdaChunkWorkers.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/TbFileIO.h"
#include "host/codecs/SoDataCompressor.h"
#include "host/lda/LdaShardFiles.h"

namespace {

// Every byte equals the one before it, and the first is zero.
bool allZero(const std::vector<unsigned char>& bytes) {
  return bytes.empty() ||
         (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

// 0 when every byte reached the file and was synced, else the errno that stopped it.
int writeChunkFile(const std::string& path, const unsigned char* data, size_t bytes) {
  TbFileIO& io = TbFileIO::current();
  const int fd = io.open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return errno ? errno : EIO;
  errno = 0;
  int status = 0;
  if (io.pwrite(fd, data, static_cast<int64_t>(bytes), 0) != static_cast<int64_t>(bytes))
    status = errno ? errno : ENOSPC;  // a write stopping short without a reason: the disk is full
  else if (io.sync(fd) != 0)
    status = errno ? errno : EIO;
  if (io.close(fd) != 0 && status == 0) status = errno ? errno : EIO;
  return status;
}

}  // namespace

LdaChunkWorkers::LdaChunkWorkers(const SoDataCompressor* chunkCodec, std::string folder, int count, int queued,
                                 LdaShardFiles* shardFiles)
    : codec(chunkCodec), root(std::move(folder)), shards(shardFiles), maxQueued(std::max(queued, 1)) {
  count = std::max(count, 1);
  for (int i = 0; i < count; ++i) threads.emplace_back([this] { work(); });
}

LdaChunkWorkers::~LdaChunkWorkers() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
    queue.clear();
  }
  queueChanged.notify_all();
  for (std::thread& thread : threads) thread.join();
}

void LdaChunkWorkers::abandon() {
  std::unique_lock<std::mutex> lock(mutex);
  if (!failed) firstError.clear();
  failed = true;
  queue.clear();
  queueChanged.notify_all();
  queueChanged.wait(lock, [this] { return busy == 0; });
}

size_t LdaChunkWorkers::bytesHeld(size_t chunkBytes, int threads, int maxQueued) {
  // Queued and spare buffers circulate together; a thread holds its chunk
  // and a compressed stream of about the same size.
  return (static_cast<size_t>(maxQueued) + 3 * static_cast<size_t>(threads)) * chunkBytes;
}

LdaChunkWorkers::Bytes LdaChunkWorkers::takeBuffer(size_t bytes) {
  Bytes buffer;
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (!spare.empty()) {
      buffer = std::move(spare.back());
      spare.pop_back();
    }
  }
  buffer.resize(bytes);
  return buffer;
}

bool LdaChunkWorkers::submit(std::string key, Bytes bytes, LdaShardPlace place) {
  std::unique_lock<std::mutex> lock(mutex);
  queueChanged.wait(lock, [this] { return failed || queue.size() < maxQueued; });
  if (failed) return false;
  queue.push_back(Job{std::move(key), std::move(bytes), place});
  queueChanged.notify_all();
  return true;
}

bool LdaChunkWorkers::finish() {
  std::unique_lock<std::mutex> lock(mutex);
  queueChanged.wait(lock, [this] { return queue.empty() && busy == 0; });
  return !failed;
}

std::string LdaChunkWorkers::error() const {
  std::lock_guard<std::mutex> lock(mutex);
  return firstError;
}

void LdaChunkWorkers::fail(const std::string& why) {
  std::lock_guard<std::mutex> lock(mutex);
  if (!failed) firstError = why;
  failed = true;
  queue.clear();
}

void LdaChunkWorkers::work() {
  Bytes compressed;
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    queueChanged.wait(lock, [this] { return stopping || !queue.empty(); });
    if (queue.empty()) return;  // stopping
    Job job = std::move(queue.front());
    queue.pop_front();
    ++busy;
    queueChanged.notify_all();
    lock.unlock();
    store(job, compressed);
    lock.lock();
    spare.push_back(std::move(job.bytes));
    --busy;
    queueChanged.notify_all();
  }
}

void LdaChunkWorkers::store(const Job& job, Bytes& compressed) {
  const bool zero = allZero(job.bytes);
  const unsigned char* data = job.bytes.data();
  size_t bytes = zero ? 0 : job.bytes.size();
  if (codec && !zero) {
    if (!codec->compress(data, bytes, compressed)) {
      fail(job.key + ": the codec refused the chunk");
      return;
    }
    data = compressed.data();
    bytes = compressed.size();
  }
  const LdaShardPlace& place = job.place;
  int status = 0;
  if (place.place >= 0)
    status = shards->add(job.key, place.ticket, place.place, place.places, place.expected, data, bytes);
  else if (!zero) status = writeChunkFile(root + "/" + job.key, data, bytes);
  if (status != 0) fail(job.key + ": " + std::strerror(status));
}
