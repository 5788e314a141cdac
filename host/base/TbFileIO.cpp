#include "host/base/TbFileIO.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

int posixOpen(const char* path, int flags, int mode) {
  for (;;) {
    const int fd = ::open(path, flags | O_CLOEXEC, mode);
    if (fd >= 0 || errno != EINTR) return fd;
  }
}

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

template <class Call>
int retried(Call call) {
  for (;;) {
    const int result = call();
    if (result == 0 || errno != EINTR) return result;
  }
}

int posixSync(int fd) { return retried([fd] { return ::fdatasync(fd); }); }

int posixTruncate(int fd, int64_t length) { return retried([=] { return ::ftruncate64(fd, length); }); }

int64_t posixSize(const char* path) {
  struct stat64 info;
  return ::stat64(path, &info) == 0 ? static_cast<int64_t>(info.st_size) : -1;
}

int posixSyncFolder(const char* folder) {
  const int fd = posixOpen(folder, O_RDONLY | O_DIRECTORY, 0);
  if (fd < 0) return -1;
  const int synced = retried([fd] { return ::fsync(fd); });
  const int error = errno;
  ::close(fd);
  errno = error;
  return synced;
}

int posixMkdir(const char* path, int mode) { return ::mkdir(path, static_cast<mode_t>(mode)); }

int posixRmdir(const char* path) { return ::rmdir(path); }

int posixRename(const char* from, const char* to) { return ::rename(from, to); }

int posixExchange(const char* first, const char* second) {
  return ::renameat2(AT_FDCWD, first, AT_FDCWD, second, RENAME_EXCHANGE);
}

void describe(const struct stat64& info, TbFileInfo* out) {
  out->kind = S_ISREG(info.st_mode) ? TbFileInfo::REGULAR
              : S_ISDIR(info.st_mode) ? TbFileInfo::FOLDER
                                      : TbFileInfo::OTHER;
  out->size = static_cast<int64_t>(info.st_size);
}

int posixStat(const char* path, TbFileInfo* out) {
  struct stat64 info;
  if (::lstat64(path, &info) != 0) return -1;
  if (S_ISLNK(info.st_mode) && ::stat64(path, &info) != 0) return -1;
  describe(info, out);
  return 0;
}

int posixFstat(int fd, TbFileInfo* out) {
  struct stat64 info;
  if (::fstat64(fd, &info) != 0) return -1;
  describe(info, out);
  return 0;
}

int posixList(const char* folder, std::vector<std::string>* names) {
  DIR* dir = ::opendir(folder);
  if (!dir) return -1;
  names->clear();
  errno = 0;
  while (const dirent* entry = ::readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
      names->push_back(entry->d_name);
  }
  const int error = errno;
  ::closedir(dir);
  errno = error;
  return error ? -1 : 0;
}

// The pages are read ahead in the background, so the caller can work on (and
// stop between) the first ones while the rest arrive.
const void* posixMap(int fd, int64_t offset, int64_t length) {
  void* data = ::mmap(nullptr, static_cast<size_t>(length), PROT_READ, MAP_PRIVATE, fd, offset);
  if (data == MAP_FAILED) return nullptr;
  ::madvise(data, static_cast<size_t>(length), MADV_WILLNEED);
  return data;
}

int posixUnmap(const void* data, int64_t length) { return ::munmap(const_cast<void*>(data), static_cast<size_t>(length)); }

int posixLock(int fd) { return retried([fd] { return ::flock(fd, LOCK_EX | LOCK_NB); }); }

int posixStartWriteback(int fd, int64_t offset, int64_t length) {
  return ::sync_file_range(fd, offset, length, SYNC_FILE_RANGE_WRITE);
}

const TbFileIO kPosix = {posixOpen,   posixClose,      posixUnlink, posixSeek,   posixRead,
                         posixPread,  posixPwrite,     posixPreadv, posixPwritev, posixSync,
                         posixTruncate, posixSize,     posixSyncFolder, posixMkdir, posixRmdir,
                         posixRename, posixExchange,   posixStat,   posixFstat,  posixList,
                         posixMap,    posixUnmap,      posixLock,   posixStartWriteback};

}  // namespace

TbFileIO& TbFileIO::current() {
  static TbFileIO inUse = kPosix;
  return inUse;
}

void TbFileIO::restoreDefaults() { current() = kPosix; }

const TbFileIO& TbFileIO::posix() { return kPosix; }

std::string TbFileIO::folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}
