#include "blockstore/BlockFileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

int posixOpen(const char* path, int flags, int mode) { return ::open(path, flags, mode); }

int posixClose(int fd) { return ::close(fd); }

int posixUnlink(const char* path) { return ::unlink(path); }

int64_t posixSeek(int fd, int64_t offset) { return ::lseek64(fd, offset, SEEK_SET); }

// One call may stop short of n (signals, transfers above 2 GiB); go on from
// where it stopped, so that a short result means the end of the file or an error.
template <class Step>
int64_t moveAll(int64_t n, Step step) {
  int64_t done = 0;
  while (done < n) {
    ssize_t moved = step(done);
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0) return done ? done : (moved < 0 ? -1 : 0);
    done += moved;
  }
  return done;
}

int64_t posixRead(int fd, void* data, int64_t n) {
  return moveAll(n, [&](int64_t done) { return ::read(fd, static_cast<char*>(data) + done, static_cast<size_t>(n - done)); });
}

int64_t posixPread(int fd, void* data, int64_t n, int64_t offset) {
  return moveAll(n, [&](int64_t done) {
    return ::pread64(fd, static_cast<char*>(data) + done, static_cast<size_t>(n - done), offset + done);
  });
}

int64_t posixPwrite(int fd, const void* data, int64_t n, int64_t offset) {
  return moveAll(n, [&](int64_t done) {
    return ::pwrite64(fd, static_cast<const char*>(data) + done, static_cast<size_t>(n - done), offset + done);
  });
}

// The parts still to move once `done` bytes of them have moved.
std::vector<iovec> partsAfter(const iovec* parts, int count, int64_t done) {
  std::vector<iovec> rest;
  for (int i = 0; i < count; ++i) {
    const int64_t len = static_cast<int64_t>(parts[i].iov_len);
    if (done >= len) {
      done -= len;
      continue;
    }
    rest.push_back({static_cast<char*>(parts[i].iov_base) + done, static_cast<size_t>(len - done)});
    done = 0;
  }
  return rest;
}

int64_t totalBytes(const iovec* parts, int count) {
  int64_t n = 0;
  for (int i = 0; i < count; ++i) n += static_cast<int64_t>(parts[i].iov_len);
  return n;
}

template <class Vectored>
int64_t vectored(const iovec* parts, int count, int64_t offset, Vectored call) {
  return moveAll(totalBytes(parts, count), [&](int64_t done) -> ssize_t {
    if (done == 0) return call(parts, count, offset);
    std::vector<iovec> rest = partsAfter(parts, count, done);
    return call(rest.data(), static_cast<int>(rest.size()), offset + done);
  });
}

int64_t posixPreadv(int fd, const iovec* parts, int count, int64_t offset) {
  return vectored(parts, count, offset, [fd](const iovec* p, int c, int64_t at) { return ::preadv64(fd, p, c, at); });
}

int64_t posixPwritev(int fd, const iovec* parts, int count, int64_t offset) {
  return vectored(parts, count, offset, [fd](const iovec* p, int c, int64_t at) { return ::pwritev64(fd, p, c, at); });
}

int posixSync(int fd) { return ::fdatasync(fd); }

int posixTruncate(int fd, int64_t length) { return ::ftruncate64(fd, length); }

int64_t posixSize(const char* path) {
  struct stat64 info;
  return ::stat64(path, &info) == 0 ? static_cast<int64_t>(info.st_size) : -1;
}

int posixSyncDir(const char* path) {
  const std::string name(path);
  const size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : name.substr(0, slash);
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return -1;
  const int synced = ::fsync(fd);
  ::close(fd);
  return synced;
}

const BlockFileIO kPosix = {posixOpen,   posixClose,   posixUnlink, posixSeek,     posixRead,
                            posixPread,  posixPwrite,  posixPreadv, posixPwritev,  posixSync,
                            posixTruncate, posixSize,  posixSyncDir};

}  // namespace

BlockFileIO& BlockFileIO::current() {
  static BlockFileIO inUse = kPosix;
  return inUse;
}

void BlockFileIO::restoreDefaults() { current() = kPosix; }

const BlockFileIO& BlockFileIO::posix() { return kPosix; }
