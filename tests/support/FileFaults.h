#pragma once
// Counts the file calls made through the TbFileIO seam, fails a chosen one, or
// models a crash. Installed for the lifetime of the object; the table that was
// in use comes back when it goes away. One instance at a time; calls may come
// from several threads.
//
// The crash model needs the folder whose files it watches (`root`): what is
// there when the object is made counts as durable. From then on it keeps,
// apart from what the calls do to the real files, what a disk would hold
// after a power cut: a file's bytes as of its last sync, a folder's names as
// of its last folder sync. A crash puts the watched files back to that state
// (LOSE_ALL), keeps everything as after kill -9 (LOSE_NONE), or keeps every
// other write made since the last sync, in either phase (LOSE_EVEN,
// LOSE_ODD), as power loss may; names created, renamed or removed since their
// folder's last sync are undone in all but LOSE_NONE. Then every later call
// fails with EIO: the code under test carries on as a dead process would not,
// touching nothing. Syncs are only recorded: tests do not wait for the disk.
// Files under the root that are written around the seam are left alone.
#include <cstdint>
#include <string>
#include <vector>

#include "host/base/TbFileIO.h"

class FileFaults {
 public:
  // READ covers read, pread and preadv; WRITE pwrite and pwritev; SYNC the
  // syncs of files and of folders; FOLDER mkdir, rmdir and list; RENAME
  // rename and exchange; STAT stat and fstat; MAP map (a failed map answers
  // null; unmap is never failed).
  enum Op { OPEN, READ, WRITE, SYNC, TRUNCATE, SIZE, UNLINK, SEEK, CLOSE, FOLDER, RENAME, STAT, MAP, NUM_OPS };
  enum Failure { IO_ERROR, NO_SPACE, SHORT_COUNT };

  FileFaults();
  // Also models crashes of the files below root.
  explicit FileFaults(const std::string& root);
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
