#pragma once
// Counts the block store's file calls through the BlockFileIO seam, fails a
// chosen one, or models a crash. Installed for the lifetime of the object; the
// table that was in use comes back when it goes away. One instance at a time.
//
// The crash model keeps, for every file, each write since the file's last sync
// with what it replaced. A crash loses some of those writes (all, none as after
// kill -9, or every other one in either phase, as power loss may), removes files
// created since their folder was last synced unless none is lost, and fails
// every later call with EIO: the code under test carries on as a dead process
// would not, touching nothing. Syncs are only recorded: tests do not wait for the disk.
#include <cstdint>
#include <string>
#include <vector>

#include "blockstore/BlockFileIO.h"

class FileFaults {
 public:
  // READ covers read, pread and preadv; WRITE pwrite and pwritev; SYNC the
  // syncs of files and of folders.
  enum Op { OPEN, READ, WRITE, SYNC, TRUNCATE, SIZE, UNLINK, SEEK, CLOSE, NUM_OPS };
  enum Failure { IO_ERROR, NO_SPACE, SHORT_COUNT };

  FileFaults();
  ~FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;

  // The n-th call (1-based, counted from now) of op fails: EIO, ENOSPC, or for
  // transfers half the bytes moved (EIO for other calls). Persistent: that call
  // and every later one of op.
  void failCall(Op op, int n, Failure how = IO_ERROR, bool persistent = false);
  enum Loss { LOSE_ALL, LOSE_NONE, LOSE_EVEN, LOSE_ODD };
  // The process dies instead of making the n-th call of op (counted from now).
  void crashAt(Op op, int n, Loss loss = LOSE_ALL);
  void crashNow(Loss loss = LOSE_ALL);

  void resetCounts();
  int calls(Op op) const;
  struct Access {
    std::string file;
    int64_t offset;
    int64_t bytes;
  };
  const std::vector<Access>& reads() const;
  const std::vector<Access>& writes() const;
};
