#include "host/lda/LdaShardFiles.h"

#include <fcntl.h>

#include <cerrno>

#include "host/base/TbFileIO.h"
#include "host/lda/LdaCrc32c.h"

namespace {

TbFileIO& io() { return TbFileIO::current(); }

void putLittleEndian(unsigned char* to, unsigned long long value, int bytes) {
  for (int b = 0; b < bytes; ++b) to[b] = static_cast<unsigned char>(value >> (8 * b));
}

// 0 when all bytes went to the file at `offset` (and, when asked, were synced).
int writeAt(const std::string& path, const unsigned char* data, size_t bytes, unsigned long long offset, bool sync) {
  const int fd = io().open(path.c_str(), O_WRONLY | O_CREAT, 0644);
  if (fd < 0) return errno ? errno : EIO;
  errno = 0;
  int status = 0;
  if (io().pwrite(fd, data, static_cast<int64_t>(bytes), static_cast<int64_t>(offset)) != static_cast<int64_t>(bytes))
    status = errno ? errno : ENOSPC;
  else if (sync && io().sync(fd) != 0)
    status = errno ? errno : EIO;
  if (io().close(fd) != 0 && status == 0) status = errno ? errno : EIO;
  return status;
}

}  // namespace

LdaShardFiles::LdaShardFiles(std::string folder) : root(std::move(folder)) {}

int LdaShardFiles::ticket(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex);
  return shards[key].tickets++;
}

// The pieces next in ticket order, given their offsets in the file.
std::vector<LdaShardFiles::Piece> LdaShardFiles::takeReady(Shard& shard) {
  std::vector<Piece> ready;
  for (auto next = shard.waiting.find(shard.next); next != shard.waiting.end(); next = shard.waiting.find(shard.next)) {
    Piece piece = std::move(next->second);
    shard.waiting.erase(next);
    piece.offset = shard.end;
    shard.end += piece.bytes.size();
    if (!piece.bytes.empty()) {
      putLittleEndian(&shard.index[static_cast<size_t>(piece.place) * 16], piece.offset, 8);
      putLittleEndian(&shard.index[static_cast<size_t>(piece.place) * 16 + 8], piece.bytes.size(), 8);
    }
    ready.push_back(std::move(piece));
    ++shard.next;
  }
  return ready;
}

int LdaShardFiles::add(const std::string& key, int ticketNumber, int place, int places, int expected,
                       const unsigned char* data, size_t bytes) {
  std::vector<Piece> ready;
  {
    std::lock_guard<std::mutex> lock(mutex);
    Shard& shard = shards[key];
    if (shard.index.empty()) shard.index.assign(static_cast<size_t>(places) * 16, 0xFF);
    shard.waiting.emplace(ticketNumber, Piece{place, std::vector<unsigned char>(data, data + bytes)});
    ready = takeReady(shard);
  }
  const std::string path = root + "/" + key;
  for (const Piece& piece : ready)
    if (!piece.bytes.empty())
      if (const int status = writeAt(path, piece.bytes.data(), piece.bytes.size(), piece.offset, false)) return status;
  Shard done;
  {
    std::lock_guard<std::mutex> lock(mutex);
    Shard& shard = shards[key];
    shard.written += static_cast<int>(ready.size());
    if (shard.written < expected) return 0;
    done = std::move(shard);
    shards.erase(key);
  }
  return done.end > 0 ? finish(path, done) : 0;
}

// The index and its checksum after the chunks, then the whole file synced.
int LdaShardFiles::finish(const std::string& path, const Shard& shard) {
  std::vector<unsigned char> index = shard.index;
  index.resize(index.size() + 4);
  putLittleEndian(&index[index.size() - 4], crc32c(index.data(), index.size() - 4), 4);
  return writeAt(path, index.data(), index.size(), shard.end, true);
}
