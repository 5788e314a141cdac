#include "blockstore/IntentRecord.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "host/base/TbFileIO.h"
#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const char kMagic[8] = {'B', 'L', 'C', 'K', 'I', 'N', 'T', '1'};
const int kEntryBytes = 24;
// A record this long was not written by a store; it is not worth reading.
const int64_t kLongestRecord = 64 << 20;

TbFileIO& io() { return TbFileIO::current(); }

void encode(const IntentEntry& entry, unsigned char* out) {
  const int32_t values[6] = {entry.first[0], entry.last[0], entry.first[1],
                             entry.last[1],  entry.first[2], entry.last[2]};
  for (int v = 0; v < 6; ++v) {
    const uint32_t bits = static_cast<uint32_t>(values[v]);
    for (int b = 0; b < 4; ++b) out[v * 4 + b] = static_cast<unsigned char>(bits >> (8 * b));
  }
}

IntentEntry decode(const unsigned char* in) {
  int32_t values[6];
  for (int v = 0; v < 6; ++v) {
    uint32_t bits = 0;
    for (int b = 0; b < 4; ++b) bits |= static_cast<uint32_t>(in[v * 4 + b]) << (8 * b);
    values[v] = static_cast<int32_t>(bits);
  }
  return {{values[0], values[2], values[4]}, {values[1], values[3], values[5]}};
}

// Writes bytes at offset and makes them durable; the file is closed again.
bool writeDurably(const std::string& path, int flags, const unsigned char* bytes, int64_t n, int64_t offset) {
  const int fd = io().open(path.c_str(), flags, 0666);
  if (fd < 0) return false;
  const bool done = io().pwrite(fd, bytes, n, offset) == n && io().sync(fd) == 0;
  return io().close(fd) == 0 && done;
}
}  // namespace

IntentRecord::Content IntentRecord::load(std::vector<IntentEntry>& entries, int64_t mostEntries) {
  entries.clear();
  length = 0;
  TbFileInfo info;
  if (io().stat(path.c_str(), &info) != 0) {
    onDisk = errno != ENOENT;  // a record that cannot be looked at may be there
    return onDisk ? UNREADABLE : ABSENT;
  }
  onDisk = true;
  if (info.kind != TbFileInfo::REGULAR) return NOT_A_FILE;
  const int64_t size = info.size;
  if (size < 8 || size > kLongestRecord || (size - 8) / kEntryBytes > mostEntries) return UNREADABLE;
  // Not waiting for a writer, should a pipe take the record's place meanwhile.
  const int fd = io().open(path.c_str(), O_RDONLY | O_NONBLOCK, 0);
  if (fd < 0) return UNREADABLE;
  std::vector<unsigned char> bytes(static_cast<size_t>(size));
  const bool read = io().fstat(fd, &info) == 0 && info.kind == TbFileInfo::REGULAR &&
                    io().pread(fd, bytes.data(), size, 0) == size;
  io().close(fd);
  if (!read || std::memcmp(bytes.data(), kMagic, 8) != 0) return UNREADABLE;
  const int64_t whole = (size - 8) / kEntryBytes;
  for (int64_t e = 0; e < whole; ++e) entries.push_back(decode(&bytes[8 + e * kEntryBytes]));
  length = 8 + whole * kEntryBytes;  // a partial entry is overwritten by the next append
  return ENTRIES;
}

int IntentRecord::append(const IntentEntry& entry) {
  unsigned char bytes[8 + kEntryBytes];
  std::memcpy(bytes, kMagic, 8);
  encode(entry, bytes + 8);
  if (length > 0) {
    if (!writeDurably(path, O_WRONLY, bytes + 8, kEntryBytes, length)) return 0;
    length += kEntryBytes;
    return 1;
  }
  // A new record (or one without its magic) starts afresh; its name must
  // survive a crash as well as its bytes.
  onDisk = true;
  if (!writeDurably(path, O_WRONLY | O_CREAT | O_TRUNC, bytes, sizeof bytes, 0)) return 0;
  if (io().syncFolder(TbFileIO::folderOf(path).c_str()) != 0) return 0;
  length = sizeof bytes;
  return 1;
}

int IntentRecord::remove() {
  if (!onDisk) return 1;
  if (io().unlink(path.c_str()) != 0 && errno != ENOENT) return 0;
  onDisk = false;
  length = 0;
  return 1;
}
