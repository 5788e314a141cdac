#include "support/FileFaults.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>

namespace {

using Names = std::map<std::string, int>;

// One pending change of a file since its last sync: a write, or a truncation.
struct Pending {
  int node;
  int64_t offset;
  std::string bytes;
  int64_t cutTo;  // -1 for a write
};

// The watched tree as the calls left it (`live`) and as a disk would keep it
// through a power cut (`durableNames`, `durableBytes`). Node 0 is the root.
struct Tree {
  std::string root;
  std::map<int, bool> isFolder;
  std::map<int, Names> live;
  std::map<int, Names> durableNames;
  std::map<int, std::string> durableBytes;
  std::vector<Pending> pending;
  int nextNode = 1;
};

struct State {
  TbFileIO real;
  std::recursive_mutex mutex;
  int counts[FileFaults::NUM_OPS] = {};
  int failAt[FileFaults::NUM_OPS] = {};
  bool persistent[FileFaults::NUM_OPS] = {};
  FileFaults::Failure how[FileFaults::NUM_OPS] = {};
  int crashAt[FileFaults::NUM_OPS] = {};
  FileFaults::Loss loss = FileFaults::LOSE_ALL;
  bool dead = false;
  bool watching = false;
  Tree tree;
  std::map<int, std::string> names;
  std::map<int, int64_t> positions;
  std::vector<FileFaults::Access> reads, writes;
};

State* state = nullptr;

using Guard = std::lock_guard<std::recursive_mutex>;

std::string readAll(const std::string& path) {
  const TbFileIO& io = state->real;
  std::string bytes(static_cast<size_t>(std::max<int64_t>(io.size(path.c_str()), 0)), '\0');
  const int fd = io.open(path.c_str(), O_RDONLY, 0);
  if (fd < 0) return std::string();
  bytes.resize(static_cast<size_t>(std::max<int64_t>(io.pread(fd, &bytes[0], static_cast<int64_t>(bytes.size()), 0), 0)));
  io.close(fd);
  return bytes;
}

void writeAll(const std::string& path, const std::string& bytes) {
  const TbFileIO& io = state->real;
  const int fd = io.open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return;
  io.pwrite(fd, bytes.data(), static_cast<int64_t>(bytes.size()), 0);
  io.close(fd);
}

// The names of a path below the watched root; false for any other path.
bool partsOf(const std::string& path, std::vector<std::string>& parts) {
  const std::string& root = state->tree.root;
  if (!state->watching || path.compare(0, root.size(), root) != 0) return false;
  if (path.size() > root.size() && path[root.size()] != '/') return false;
  parts.clear();
  size_t at = root.size();
  while (at < path.size()) {
    const size_t end = std::min(path.find('/', at + 1), path.size());
    const std::string part = path.substr(at + 1, end - at - 1);
    if (!part.empty() && part != ".") parts.push_back(part);
    at = end;
  }
  return true;
}

// The live node of a path's folder (-1 when unknown) and the path's last name.
int folderNode(const std::vector<std::string>& parts, size_t count) {
  int node = 0;
  for (size_t i = 0; i < count && node >= 0; ++i) {
    const Names& in = state->tree.live[node];
    const auto found = in.find(parts[i]);
    node = found == in.end() ? -1 : found->second;
  }
  return node;
}

int nodeOf(const std::string& path) {
  std::vector<std::string> parts;
  if (!partsOf(path, parts)) return -1;
  return folderNode(parts, parts.size());
}

// Enters a new name for `node` (a fresh one when -1) in the live tree.
int link(const std::string& path, int node, bool folder) {
  std::vector<std::string> parts;
  if (!partsOf(path, parts) || parts.empty()) return -1;
  const int parent = folderNode(parts, parts.size() - 1);
  if (parent < 0) return -1;
  if (node < 0) {
    node = state->tree.nextNode++;
    state->tree.isFolder[node] = folder;
  }
  state->tree.live[parent][parts.back()] = node;
  return node;
}

void unlinkName(const std::string& path) {
  std::vector<std::string> parts;
  if (!partsOf(path, parts) || parts.empty()) return;
  const int parent = folderNode(parts, parts.size() - 1);
  if (parent >= 0) state->tree.live[parent].erase(parts.back());
}

void snapshot(int node, const std::string& path) {
  std::vector<std::string> entries;
  state->real.list(path.c_str(), &entries);
  for (const std::string& name : entries) {
    const std::string child = path + "/" + name;
    TbFileInfo info;
    if (state->real.stat(child.c_str(), &info) != 0 || info.kind == TbFileInfo::OTHER) continue;
    const int id = state->tree.nextNode++;
    state->tree.isFolder[id] = info.kind == TbFileInfo::FOLDER;
    state->tree.live[node][name] = id;
    if (info.kind == TbFileInfo::FOLDER) snapshot(id, child);
    else state->tree.durableBytes[id] = readAll(child);
  }
  state->tree.durableNames[node] = state->tree.live[node];
}

void removeLive(int node, const std::string& path) {
  for (const auto& entry : state->tree.live[node]) {
    const std::string child = path + "/" + entry.first;
    if (state->tree.isFolder[entry.second]) {
      removeLive(entry.second, child);
      state->real.rmdir(child.c_str());
    } else {
      state->real.unlink(child.c_str());
    }
  }
}

void buildDurable(int node, const std::string& path, const std::map<int, std::string>& bytes) {
  for (const auto& entry : state->tree.durableNames[node]) {
    const std::string child = path + "/" + entry.first;
    if (state->tree.isFolder[entry.second]) {
      state->real.mkdir(child.c_str(), 0755);
      buildDurable(entry.second, child, bytes);
    } else {
      const auto found = bytes.find(entry.second);
      writeAll(child, found == bytes.end() ? std::string() : found->second);
    }
  }
}

// Each file's bytes after the crash: as last synced, plus the pending changes kept.
std::map<int, std::string> bytesAfterCrash(FileFaults::Loss loss) {
  std::map<int, std::string> bytes = state->tree.durableBytes;
  const std::vector<Pending>& pending = state->tree.pending;
  for (size_t i = 0; i < pending.size(); ++i) {
    const bool kept = loss == FileFaults::LOSE_EVEN ? i % 2 == 1 : loss == FileFaults::LOSE_ODD && i % 2 == 0;
    if (!kept) continue;
    std::string& file = bytes[pending[i].node];
    const Pending& p = pending[i];
    if (p.cutTo >= 0) {
      file.resize(static_cast<size_t>(p.cutTo));
      continue;
    }
    if (file.size() < static_cast<size_t>(p.offset) + p.bytes.size()) file.resize(p.offset + p.bytes.size());
    file.replace(static_cast<size_t>(p.offset), p.bytes.size(), p.bytes);
  }
  return bytes;
}

void crash(FileFaults::Loss loss) {
  if (state->dead) return;
  state->dead = true;
  if (loss == FileFaults::LOSE_NONE || !state->watching) return;
  const std::map<int, std::string> bytes = bytesAfterCrash(loss);
  removeLive(0, state->tree.root);
  buildDurable(0, state->tree.root, bytes);
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

// Files opened before the layer was installed are found through /proc.
const std::string& pathOf(int fd) {
  std::string& name = state->names[fd];
  if (name.empty()) {
    char target[4096];
    const ssize_t n = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), target, sizeof target - 1);
    if (n > 0) name.assign(target, static_cast<size_t>(n));
  }
  return name;
}

void remember(int fd, int64_t offset, const void* put, int64_t n, int64_t cutTo) {
  const int node = nodeOf(pathOf(fd));
  if (node < 0) return;
  state->tree.pending.push_back(
      {node, offset, put ? std::string(static_cast<const char*>(put), static_cast<size_t>(n)) : std::string(), cutTo});
}

int faultyOpen(const char* path, int flags, int mode) {
  Guard guard(state->mutex);
  if (fails(FileFaults::OPEN)) return -1;
  const int fd = state->real.open(path, flags, mode);
  if (fd < 0) return fd;
  state->names[fd] = path;
  state->positions[fd] = 0;
  if (nodeOf(path) < 0 && (flags & O_CREAT)) link(path, -1, false);
  if (flags & O_TRUNC) remember(fd, 0, nullptr, 0, 0);
  return fd;
}

int faultyClose(int fd) {
  Guard guard(state->mutex);
  const bool failed = fails(FileFaults::CLOSE);
  state->names.erase(fd);
  const int closed = state->real.close(fd);
  return failed ? -1 : closed;
}

int faultyUnlink(const char* path) {
  Guard guard(state->mutex);
  if (fails(FileFaults::UNLINK)) return -1;
  const int done = state->real.unlink(path);
  if (done == 0) unlinkName(path);
  return done;
}

int64_t faultySeek(int fd, int64_t offset) {
  Guard guard(state->mutex);
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
  if (put) remember(fd, offset, put, n, -1);
  return move(n);
}

int64_t faultyRead(int fd, void* data, int64_t n) {
  Guard guard(state->mutex);
  const int64_t got = transfer(FileFaults::READ, fd, state->positions[fd], n, nullptr,
                               [&](int64_t m) { return state->real.read(fd, data, m); });
  if (got > 0) state->positions[fd] += got;
  return got;
}

int64_t faultyPread(int fd, void* data, int64_t n, int64_t offset) {
  Guard guard(state->mutex);
  return transfer(FileFaults::READ, fd, offset, n, nullptr, [&](int64_t m) { return state->real.pread(fd, data, m, offset); });
}

int64_t faultyPwrite(int fd, const void* data, int64_t n, int64_t offset) {
  Guard guard(state->mutex);
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
  Guard guard(state->mutex);
  if (fails(FileFaults::SYNC)) return -1;
  const int node = nodeOf(pathOf(fd));
  if (node < 0) return 0;
  state->tree.durableBytes[node] = readAll(pathOf(fd));
  std::vector<Pending>& pending = state->tree.pending;
  pending.erase(std::remove_if(pending.begin(), pending.end(), [node](const Pending& p) { return p.node == node; }),
                pending.end());
  return 0;  // durability is modelled here; the disk is not asked to wait
}

int faultySyncFolder(const char* folder) {
  Guard guard(state->mutex);
  if (fails(FileFaults::SYNC)) return -1;
  const int node = nodeOf(folder);
  if (node >= 0) state->tree.durableNames[node] = state->tree.live[node];
  TbFileInfo info;
  return state->real.stat(folder, &info);
}

int faultyTruncate(int fd, int64_t length) {
  Guard guard(state->mutex);
  if (fails(FileFaults::TRUNCATE)) return -1;
  remember(fd, length, nullptr, 0, length);
  return state->real.truncate(fd, length);
}

int64_t faultySize(const char* path) {
  Guard guard(state->mutex);
  if (fails(FileFaults::SIZE)) return -1;
  return state->real.size(path);
}

int faultyMkdir(const char* path, int mode) {
  Guard guard(state->mutex);
  if (fails(FileFaults::FOLDER)) return -1;
  const int done = state->real.mkdir(path, mode);
  if (done == 0) link(path, -1, true);
  return done;
}

int faultyRmdir(const char* path) {
  Guard guard(state->mutex);
  if (fails(FileFaults::FOLDER)) return -1;
  const int done = state->real.rmdir(path);
  if (done == 0) unlinkName(path);
  return done;
}

int faultyList(const char* folder, std::vector<std::string>* names) {
  Guard guard(state->mutex);
  if (fails(FileFaults::FOLDER)) return -1;
  return state->real.list(folder, names);
}

int faultyRename(const char* from, const char* to) {
  Guard guard(state->mutex);
  if (fails(FileFaults::RENAME)) return -1;
  TbFileInfo info{TbFileInfo::OTHER, 0};
  state->real.stat(from, &info);
  const int node = nodeOf(from);
  const int done = state->real.rename(from, to);
  if (done != 0) return done;
  unlinkName(from);
  link(to, node, info.kind == TbFileInfo::FOLDER);
  return 0;
}

int faultyExchange(const char* first, const char* second) {
  Guard guard(state->mutex);
  if (fails(FileFaults::RENAME)) return -1;
  const int a = nodeOf(first), b = nodeOf(second);
  const int done = state->real.exchange(first, second);
  if (done != 0) return done;
  if (a >= 0 && b >= 0) {
    link(first, b, false);
    link(second, a, false);
  }
  return 0;
}

int faultyStat(const char* path, TbFileInfo* info) {
  Guard guard(state->mutex);
  if (fails(FileFaults::STAT)) return -1;
  return state->real.stat(path, info);
}

int faultyFstat(int fd, TbFileInfo* info) {
  Guard guard(state->mutex);
  if (fails(FileFaults::STAT)) return -1;
  return state->real.fstat(fd, info);
}

const void* faultyMap(int fd, int64_t offset, int64_t length) {
  Guard guard(state->mutex);
  if (fails(FileFaults::MAP)) return nullptr;
  state->reads.push_back({pathOf(fd), offset, length});
  return state->real.map(fd, offset, length);
}

int faultyUnmap(const void* data, int64_t length) { return state->real.unmap(data, length); }

int faultyLock(int fd) { return state->real.lock(fd); }

// A hint that promises nothing: the crash model still drops what was not synced.
int faultyStartWriteback(int, int64_t, int64_t) { return 0; }

void install(const std::string& root) {
  state = new State;
  state->real = TbFileIO::current();
  if (!root.empty()) {
    state->watching = true;
    state->tree.root = root;
    snapshot(0, root);
  }
  TbFileIO::current() = {faultyOpen,  faultyClose,    faultyUnlink,     faultySeek,  faultyRead,
                         faultyPread, faultyPwrite,   faultyPreadv,     faultyPwritev, faultySync,
                         faultyTruncate, faultySize,  faultySyncFolder, faultyMkdir, faultyRmdir,
                         faultyRename, faultyExchange, faultyStat,      faultyFstat, faultyList,
                         faultyMap,   faultyUnmap,    faultyLock,       faultyStartWriteback};
}

}  // namespace

FileFaults::FileFaults() { install(std::string()); }

FileFaults::FileFaults(const std::string& root) { install(root); }

FileFaults::~FileFaults() {
  TbFileIO::current() = state->real;
  delete state;
  state = nullptr;
}

void FileFaults::failCall(Op op, int n, Failure how, bool persistent) {
  Guard guard(state->mutex);
  state->failAt[op] = state->counts[op] + n;
  state->how[op] = how;
  state->persistent[op] = persistent;
}

void FileFaults::crashAt(Op op, int n, Loss loss) {
  Guard guard(state->mutex);
  state->crashAt[op] = state->counts[op] + n;
  state->loss = loss;
}

void FileFaults::crashNow(Loss loss) {
  Guard guard(state->mutex);
  crash(loss);
}

void FileFaults::resetCounts() {
  Guard guard(state->mutex);
  for (int op = 0; op < NUM_OPS; ++op) state->counts[op] = state->failAt[op] = state->crashAt[op] = 0;
  state->reads.clear();
  state->writes.clear();
}

int FileFaults::calls(Op op) const { return state->counts[op]; }

const std::vector<FileFaults::Access>& FileFaults::reads() const { return state->reads; }

const std::vector<FileFaults::Access>& FileFaults::writes() const { return state->writes; }
