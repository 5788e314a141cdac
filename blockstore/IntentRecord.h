#pragma once
// IntentRecord: the small file beside a block file set that names the level-0
// block ranges whose coarse blocks were cleared in memory but may still be
// flagged current in the valid-flag file on disk. It makes invalidation survive
// a crash: written and synced before the first level-0 block of such a write,
// applied when the set is opened, removed once the valid-flag file holding the
// cleared flags is stored and synced.
//
// File: the 8 bytes "BLCKINT1", then entries of six little-endian int32: the
// first and last level-0 block index along x, then along y, then along z
// (inclusive). A trailing partial entry is ignored. A file whose first 8 bytes
// are not the magic, or that holds more entries than the set has blocks (no
// store writes that many), means every coarse block is out of date.
//
// Contract: every call returns 1 on success, 0 on failure, prints nothing and
// leaves the object usable. append makes its entry durable (data and, for a
// new file, the folder entry) before it returns.
#include <cstdint>
#include <string>
#include <vector>

struct IntentEntry {
  int32_t first[3];  // x, y, z
  int32_t last[3];
};

class IntentRecord {
 public:
  enum Content { ABSENT, ENTRIES, UNREADABLE, NOT_A_FILE };

  void setPath(const std::string& name) { path = name; }
  const std::string& name() const { return path; }
  // Whether a record of this set is on disk as far as this process knows.
  bool present() const { return onDisk; }

  // Reads the record: ABSENT when there is none, NOT_A_FILE for a name that
  // is no regular file (a pipe is never opened), UNREADABLE when it is there
  // but cannot be read, lacks the magic or holds more than mostEntries
  // entries (nothing is allocated for those), else ENTRIES with `entries` filled.
  Content load(std::vector<IntentEntry>& entries, int64_t mostEntries);
  int append(const IntentEntry& entry);
  int remove();

 private:
  std::string path;
  bool onDisk = false;
  int64_t length = 0;  // bytes on disk; appends go here
};
