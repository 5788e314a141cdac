#include "blockstore/BlockFileIO.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

int posixOpen(const char* path, int flags, int mode) { return ::open(path, flags, mode); }

int64_t posixSeek(int fd, int64_t offset) { return ::lseek64(fd, offset, SEEK_SET); }

// A single read(2) may stop short of n (signals, transfers above 2 GiB); loop
// so that a short count means the end of the file.
int64_t posixRead(int fd, void* data, int64_t n) {
  int64_t done = 0;
  while (done < n) {
    ssize_t got = ::read(fd, static_cast<char*>(data) + done, static_cast<size_t>(n - done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return done ? done : -1;
    if (got == 0) break;
    done += got;
  }
  return done;
}

int64_t posixWrite(int fd, const void* data, int64_t n) {
  int64_t done = 0;
  while (done < n) {
    ssize_t put = ::write(fd, static_cast<const char*>(data) + done, static_cast<size_t>(n - done));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return done ? done : -1;
    done += put;
  }
  return done;
}

int posixClose(int fd) { return ::close(fd); }

int posixUnlink(const char* path) { return ::unlink(path); }

const BlockFileIO kPosix = {posixOpen, posixSeek, posixRead, posixWrite, posixClose, posixUnlink};

}  // namespace

BlockFileIO& BlockFileIO::current() {
  static BlockFileIO inUse = kPosix;
  return inUse;
}

void BlockFileIO::restoreDefaults() { current() = kPosix; }
