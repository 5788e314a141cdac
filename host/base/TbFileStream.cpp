#include "host/base/TbFileStream.h"

#include <cerrno>
#include <cstdint>
#include <new>

#include "host/base/TbFileIO.h"

namespace {

struct Cookie {
  int fd;
  int64_t position;
};

TbFileIO& io() { return TbFileIO::current(); }

ssize_t readCookie(void* raw, char* data, size_t n) {
  auto* cookie = static_cast<Cookie*>(raw);
  const int64_t got = io().pread(cookie->fd, data, static_cast<int64_t>(n), cookie->position);
  if (got < 0) return -1;
  cookie->position += got;
  return static_cast<ssize_t>(got);
}

// stdio counts a short write as a failure; the seam already retried what it could.
ssize_t writeCookie(void* raw, const char* data, size_t n) {
  auto* cookie = static_cast<Cookie*>(raw);
  const int64_t put = io().pwrite(cookie->fd, data, static_cast<int64_t>(n), cookie->position);
  if (put < 0) return 0;
  cookie->position += put;
  return static_cast<ssize_t>(put);
}

int seekCookie(void* raw, off64_t* offset, int whence) {
  auto* cookie = static_cast<Cookie*>(raw);
  int64_t base = 0;
  if (whence == SEEK_CUR) base = cookie->position;
  if (whence == SEEK_END) {
    TbFileInfo info;
    if (io().fstat(cookie->fd, &info) != 0) return -1;
    base = info.size;
  }
  if (base + *offset < 0) {
    errno = EINVAL;
    return -1;
  }
  cookie->position = base + *offset;
  *offset = cookie->position;
  return 0;
}

int closeCookie(void* raw) {
  auto* cookie = static_cast<Cookie*>(raw);
  const int closed = io().close(cookie->fd);
  delete cookie;
  return closed;
}

const cookie_io_functions_t kFunctions = {readCookie, writeCookie, seekCookie, closeCookie};

}  // namespace

FILE* TbFileStream::open(int fd, const char* mode) {
  auto* cookie = new (std::nothrow) Cookie{fd, 0};
  FILE* stream = cookie ? fopencookie(cookie, mode, kFunctions) : nullptr;
  if (!stream) {
    const int error = cookie ? errno : ENOMEM;
    delete cookie;
    io().close(fd);
    errno = error;
  }
  return stream;
}
