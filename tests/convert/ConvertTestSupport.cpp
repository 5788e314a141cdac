#include "ConvertTestSupport.h"

#include <filesystem>

namespace convert_test {

namespace {

struct ReadWatch {
  BlockFileIO saved;
  std::string path;
  int fd = -1;
  int64_t position = 0;
  std::vector<ReadRecorder::Read>* reads = nullptr;
};
ReadWatch* watch = nullptr;

int watchedOpen(const char* path, int flags, int mode) {
  const int fd = watch->saved.open(path, flags, mode);
  if (fd >= 0 && watch->path == path) {
    watch->fd = fd;
    watch->position = 0;
  }
  return fd;
}

int64_t watchedSeek(int fd, int64_t offset) {
  const int64_t at = watch->saved.seek(fd, offset);
  if (fd == watch->fd) watch->position = at;
  return at;
}

int64_t watchedRead(int fd, void* data, int64_t n) {
  const int64_t got = watch->saved.read(fd, data, n);
  if (fd == watch->fd) {
    watch->reads->push_back({watch->position, n});
    if (got > 0) watch->position += got;
  }
  return got;
}

int watchedClose(int fd) {
  if (fd == watch->fd) watch->fd = -1;
  return watch->saved.close(fd);
}

}  // namespace

std::set<std::string> filesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().string());
  return names;
}

ReadRecorder::ReadRecorder(const std::string& path) {
  watch = new ReadWatch;
  watch->saved = BlockFileIO::current();
  watch->path = path;
  watch->reads = &reads;
  BlockFileIO& table = BlockFileIO::current();
  table.open = watchedOpen;
  table.seek = watchedSeek;
  table.read = watchedRead;
  table.close = watchedClose;
}

ReadRecorder::~ReadRecorder() {
  BlockFileIO::current() = watch->saved;
  delete watch;
  watch = nullptr;
}

}  // namespace convert_test
