#include "support/FileFaults.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

namespace {

// One write or truncation not yet synced: what it replaced, and what it put.
struct Replaced {
  std::string path;
  int64_t offset;
  std::string bytes;  // replaced
  int64_t size;       // the file's length before
  std::string put;    // written at offset, or
  int64_t cutTo;      // the length it set (-1 for a write)
};

struct State {
  BlockFileIO real;
  int counts[FileFaults::NUM_OPS] = {};
  int failAt[FileFaults::NUM_OPS] = {};
  bool persistent[FileFaults::NUM_OPS] = {};
  FileFaults::Failure how[FileFaults::NUM_OPS] = {};
  int crashAt[FileFaults::NUM_OPS] = {};
  FileFaults::Loss loss = FileFaults::LOSE_ALL;
  bool dead = false;
  std::map<int, std::string> names;
  std::map<int, int64_t> positions;
  std::vector<FileFaults::Access> reads, writes;
  std::vector<Replaced> unsynced;
  std::set<std::string> createdUnsynced;
};

State* state = nullptr;

// Files opened before the layer was installed are found through /proc.
const std::string& pathOf(int fd) {
  std::string& name = state->names[fd];
  if (name.empty()) {
    char link[4096];
    const ssize_t n = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), link, sizeof link - 1);
    if (n > 0) name.assign(link, static_cast<size_t>(n));
  }
  return name;
}

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

void applyTo(const std::string& path, const std::string& bytes, int64_t offset, int64_t length) {
  const BlockFileIO& io = state->real;
  const int fd = io.open(path.c_str(), O_WRONLY, 0);
  if (fd < 0) return;
  io.pwrite(fd, bytes.data(), static_cast<int64_t>(bytes.size()), offset);
  if (length >= 0) io.truncate(fd, length);
  io.close(fd);
}

// Back to the last synced state, then forward again through the writes kept.
void crash(FileFaults::Loss loss) {
  if (state->dead) return;
  if (loss != FileFaults::LOSE_NONE) {
    for (auto r = state->unsynced.rbegin(); r != state->unsynced.rend(); ++r) applyTo(r->path, r->bytes, r->offset, r->size);
    for (size_t i = 0; i < state->unsynced.size(); ++i) {
      const Replaced& r = state->unsynced[i];
      const bool kept = loss == FileFaults::LOSE_EVEN ? i % 2 == 1 : loss == FileFaults::LOSE_ODD && i % 2 == 0;
      if (kept) applyTo(r.path, r.put, r.offset, r.cutTo);
    }
    for (const std::string& path : state->createdUnsynced) state->real.unlink(path.c_str());
  }
  state->unsynced.clear();
  state->createdUnsynced.clear();
  state->dead = true;
}

// Counts the call; true when it must fail (errno set), which a crash always does.
bool fails(FileFaults::Op op) {
  const int n = ++state->counts[op];
  if (state->crashAt[op] == n) crash(state->loss);
  if (state->dead) {
    errno = EIO;
    return true;
  }
  const int at = state->failAt[op];
  if (at == 0 || n < at || (n > at && !state->persistent[op])) return false;
  errno = state->how[op] == FileFaults::NO_SPACE ? ENOSPC : EIO;
  return true;
}

bool shortens(FileFaults::Op op) { return !state->dead && state->how[op] == FileFaults::SHORT_COUNT; }

void remember(const std::string& path, int64_t offset, int64_t n, const void* put, int64_t cutTo) {
  Replaced r{path, offset, std::string(), state->real.size(path.c_str()),
             put ? std::string(static_cast<const char*>(put), static_cast<size_t>(n)) : std::string(), cutTo};
  if (offset < r.size) {
    r.bytes.resize(static_cast<size_t>(std::min(n, r.size - offset)));
    const int reader = state->real.open(path.c_str(), O_RDONLY, 0);
    state->real.pread(reader, &r.bytes[0], static_cast<int64_t>(r.bytes.size()), offset);
    state->real.close(reader);
  }
  state->unsynced.push_back(r);
}

int faultyOpen(const char* path, int flags, int mode) {
  if (fails(FileFaults::OPEN)) return -1;
  const int64_t size = state->real.size(path);
  if ((flags & O_TRUNC) && size > 0) remember(path, 0, size, nullptr, 0);
  const int fd = state->real.open(path, flags, mode);
  if (fd < 0) return fd;
  state->names[fd] = path;
  state->positions[fd] = 0;
  if ((flags & O_CREAT) && size < 0) state->createdUnsynced.insert(path);
  return fd;
}

int faultyClose(int fd) {
  const bool failed = fails(FileFaults::CLOSE);
  state->names.erase(fd);
  const int closed = state->real.close(fd);
  return failed ? -1 : closed;
}

int faultyUnlink(const char* path) {
  if (fails(FileFaults::UNLINK)) return -1;
  state->createdUnsynced.erase(path);
  return state->real.unlink(path);
}

int64_t faultySeek(int fd, int64_t offset) {
  if (fails(FileFaults::SEEK)) return -1;
  return state->positions[fd] = state->real.seek(fd, offset);
}

// put: the bytes a write puts, null for a read.
template <class Transfer>
int64_t transfer(FileFaults::Op op, int fd, int64_t offset, int64_t n, const void* put, Transfer move) {
  (op == FileFaults::READ ? state->reads : state->writes).push_back({pathOf(fd), offset, n});
  if (fails(op)) {
    if (!shortens(op)) return -1;
    n /= 2;
  }
  if (put) remember(pathOf(fd), offset, n, put, -1);
  return move(n);
}

int64_t faultyRead(int fd, void* data, int64_t n) {
  const int64_t got = transfer(FileFaults::READ, fd, state->positions[fd], n, nullptr,
                               [&](int64_t m) { return state->real.read(fd, data, m); });
  if (got > 0) state->positions[fd] += got;
  return got;
}

int64_t faultyPread(int fd, void* data, int64_t n, int64_t offset) {
  return transfer(FileFaults::READ, fd, offset, n, nullptr, [&](int64_t m) { return state->real.pread(fd, data, m, offset); });
}

int64_t faultyPwrite(int fd, const void* data, int64_t n, int64_t offset) {
  return transfer(FileFaults::WRITE, fd, offset, n, data, [&](int64_t m) { return state->real.pwrite(fd, data, m, offset); });
}

// Vectored calls move the same bytes as one joined buffer would.
int64_t faultyPreadv(int fd, const iovec* parts, int count, int64_t offset) {
  std::string joined;
  for (int i = 0; i < count; ++i) joined.resize(joined.size() + parts[i].iov_len);
  const int64_t got = faultyPread(fd, &joined[0], static_cast<int64_t>(joined.size()), offset);
  for (int i = 0, at = 0; i < count && at < got; at += static_cast<int>(parts[i++].iov_len))
    std::memcpy(parts[i].iov_base, &joined[at], std::min<size_t>(parts[i].iov_len, static_cast<size_t>(got - at)));
  return got;
}

int64_t faultyPwritev(int fd, const iovec* parts, int count, int64_t offset) {
  std::string joined;
  for (int i = 0; i < count; ++i) joined.append(static_cast<const char*>(parts[i].iov_base), parts[i].iov_len);
  return faultyPwrite(fd, joined.data(), static_cast<int64_t>(joined.size()), offset);
}

int faultySync(int fd) {
  if (fails(FileFaults::SYNC)) return -1;
  const std::string& path = pathOf(fd);
  std::vector<Replaced> kept;
  for (Replaced& r : state->unsynced)
    if (r.path != path) kept.push_back(std::move(r));
  state->unsynced.swap(kept);
  return 0;  // durability is modelled here; the disk is not asked to wait
}

int faultySyncDir(const char* path) {
  if (fails(FileFaults::SYNC)) return -1;
  const std::string folder = folderOf(path);
  for (auto it = state->createdUnsynced.begin(); it != state->createdUnsynced.end();)
    it = folderOf(*it) == folder ? state->createdUnsynced.erase(it) : std::next(it);
  return 0;
}

int faultyTruncate(int fd, int64_t length) {
  if (fails(FileFaults::TRUNCATE)) return -1;
  const int64_t size = state->real.size(pathOf(fd).c_str());
  remember(pathOf(fd), length, std::max<int64_t>(0, size - length), nullptr, length);
  return state->real.truncate(fd, length);
}

int64_t faultySize(const char* path) {
  if (fails(FileFaults::SIZE)) return -1;
  return state->real.size(path);
}

}  // namespace

FileFaults::FileFaults() {
  state = new State;
  state->real = BlockFileIO::current();
  BlockFileIO::current() = {faultyOpen,    faultyClose,   faultyUnlink, faultySeek,     faultyRead,
                            faultyPread,   faultyPwrite,  faultyPreadv, faultyPwritev,  faultySync,
                            faultyTruncate, faultySize,   faultySyncDir};
}

FileFaults::~FileFaults() {
  BlockFileIO::current() = state->real;
  delete state;
  state = nullptr;
}

void FileFaults::failCall(Op op, int n, Failure how, bool persistent) {
  state->failAt[op] = state->counts[op] + n;
  state->how[op] = how;
  state->persistent[op] = persistent;
}

void FileFaults::crashAt(Op op, int n, Loss loss) {
  state->crashAt[op] = state->counts[op] + n;
  state->loss = loss;
}

void FileFaults::crashNow(Loss loss) { crash(loss); }

void FileFaults::resetCounts() {
  for (int op = 0; op < NUM_OPS; ++op) state->counts[op] = state->failAt[op] = state->crashAt[op] = 0;
  state->reads.clear();
  state->writes.clear();
}

int FileFaults::calls(Op op) const { return state->counts[op]; }

const std::vector<FileFaults::Access>& FileFaults::reads() const { return state->reads; }

const std::vector<FileFaults::Access>& FileFaults::writes() const { return state->writes; }
