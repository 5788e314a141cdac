#include "support/FileFaults.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <map>

namespace {

struct State {
  BlockFileIO real;
  int counts[FileFaults::NUM_OPS] = {};
  int failAt[FileFaults::NUM_OPS] = {};
  int64_t shortBy[FileFaults::NUM_OPS] = {};
  std::map<int, std::string> names;
  std::map<int, int64_t> positions;
  std::vector<FileFaults::Access> reads, writes;
};

State* state = nullptr;

bool failsNow(FileFaults::Op op) {
  int n = ++state->counts[op];
  return state->failAt[op] == n;
}

int faultyOpen(const char* path, int flags, int mode) {
  if (failsNow(FileFaults::OPEN)) {
    errno = EACCES;
    return -1;
  }
  int fd = state->real.open(path, flags, mode);
  if (fd >= 0) state->names[fd] = path;
  return fd;
}

int64_t faultySeek(int fd, int64_t offset) {
  if (failsNow(FileFaults::SEEK)) {
    errno = EIO;
    return -1;
  }
  int64_t at = state->real.seek(fd, offset);
  state->positions[fd] = at;
  return at;
}

int64_t faultyRead(int fd, void* data, int64_t n) {
  state->reads.push_back({state->names[fd], state->positions[fd], n});
  if (failsNow(FileFaults::READ)) {
    if (!state->shortBy[FileFaults::READ]) {
      errno = EIO;
      return -1;
    }
    n -= state->shortBy[FileFaults::READ];
  }
  int64_t got = state->real.read(fd, data, n);
  if (got > 0) state->positions[fd] += got;
  return got;
}

int64_t faultyWrite(int fd, const void* data, int64_t n) {
  state->writes.push_back({state->names[fd], state->positions[fd], n});
  if (failsNow(FileFaults::WRITE)) {
    if (!state->shortBy[FileFaults::WRITE]) {
      errno = ENOSPC;
      return -1;
    }
    n -= state->shortBy[FileFaults::WRITE];
  }
  int64_t put = state->real.write(fd, data, n);
  if (put > 0) state->positions[fd] += put;
  return put;
}

int faultyClose(int fd) {
  failsNow(FileFaults::CLOSE);
  state->names.erase(fd);
  return state->real.close(fd);
}

int faultyUnlink(const char* path) {
  if (failsNow(FileFaults::UNLINK)) {
    errno = EIO;
    return -1;
  }
  return state->real.unlink(path);
}

}  // namespace

FileFaults::FileFaults() {
  state = new State;
  state->real = BlockFileIO::current();
  BlockFileIO::current() = {faultyOpen, faultySeek, faultyRead, faultyWrite, faultyClose, faultyUnlink};
}

FileFaults::~FileFaults() {
  BlockFileIO::current() = state->real;
  delete state;
  state = nullptr;
}

void FileFaults::failCall(Op op, int n, int64_t shortBy) {
  state->failAt[op] = state->counts[op] + n;
  state->shortBy[op] = shortBy;
}

void FileFaults::resetCounts() {
  for (int& c : state->counts) c = 0;
  for (int& f : state->failAt) f = 0;
  state->reads.clear();
  state->writes.clear();
}

int FileFaults::calls(Op op) const { return state->counts[op]; }

const std::vector<FileFaults::Access>& FileFaults::reads() const { return state->reads; }

const std::vector<FileFaults::Access>& FileFaults::writes() const { return state->writes; }
