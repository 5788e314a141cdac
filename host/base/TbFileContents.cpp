#include "host/base/TbFileContents.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "host/base/TbFileIO.h"

namespace {

TbFileIO& io() { return TbFileIO::current(); }

std::string systemReason(int error) { return std::strerror(error ? error : EIO); }

}  // namespace

int openRegularFile(const std::string& path, std::string& why) {
  why.clear();
  // Not blocking: opening a named pipe for reading would wait for a writer.
  const int fd = io().open(path.c_str(), O_RDONLY | O_NONBLOCK, 0);
  if (fd < 0) {
    if (errno != ENOENT) why = systemReason(errno);
    return -1;
  }
  TbFileInfo info;
  if (io().fstat(fd, &info) != 0) why = systemReason(errno);
  else if (info.kind != TbFileInfo::REGULAR) why = "is not a regular file";
  if (why.empty()) return fd;
  io().close(fd);
  return -1;
}

TbFileRead readRegularFile(const std::string& path, int64_t maxBytes,
                           std::vector<unsigned char>& bytes, std::string& why) {
  bytes.clear();
  const int fd = openRegularFile(path, why);
  if (fd < 0) return why.empty() ? TbFileRead::MISSING : TbFileRead::REFUSED;
  TbFileInfo info;
  if (io().fstat(fd, &info) != 0) why = systemReason(errno);
  else if (info.size > maxBytes) why = "is larger than " + std::to_string(maxBytes) + " bytes";
  if (why.empty()) {
    bytes.resize(static_cast<size_t>(info.size));
    const int64_t got = io().pread(fd, bytes.data(), info.size, 0);
    if (got != info.size) why = got < 0 ? systemReason(errno) : "ends before its stated size";
  }
  io().close(fd);
  if (why.empty()) return TbFileRead::OK;
  bytes.clear();
  return TbFileRead::REFUSED;
}

bool writeFileDurably(const std::string& path, const void* data, size_t bytes, std::string& why) {
  const int fd = io().open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) {
    why = systemReason(errno);
    return false;
  }
  const int64_t n = static_cast<int64_t>(bytes);
  errno = 0;
  bool done = io().pwrite(fd, data, n, 0) == n;
  // A write that stops short without an error means the disk is full.
  if (!done) why = systemReason(errno ? errno : ENOSPC);
  if (done && io().sync(fd) != 0) {
    why = systemReason(errno);
    done = false;
  }
  if (io().close(fd) != 0 && done) {
    why = systemReason(errno);
    done = false;
  }
  return done;
}
