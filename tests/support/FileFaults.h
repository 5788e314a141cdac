#pragma once
// Counts the block store's file calls and fails a chosen one, through the
// BlockFileIO seam. Installed for the lifetime of the object; the POSIX table
// comes back when it goes away. One instance at a time.
#include <cstdint>
#include <string>
#include <vector>

#include "blockstore/BlockFileIO.h"

class FileFaults {
 public:
  enum Op { OPEN, SEEK, READ, WRITE, CLOSE, UNLINK, NUM_OPS };

  FileFaults();
  ~FileFaults();

  // The n-th call (1-based, counted from now) of op fails; for READ and WRITE
  // it moves `shortBy` bytes fewer than asked instead when shortBy > 0.
  void failCall(Op op, int n, int64_t shortBy = 0);
  void resetCounts();
  int calls(Op op) const;
  // Offsets of the reads and writes, in order, with the file they went to.
  struct Access {
    std::string file;
    int64_t offset;
    int64_t bytes;
  };
  const std::vector<Access>& reads() const;
  const std::vector<Access>& writes() const;
};
