#pragma once
// BlockFileIO: the one seam through which the block store and the raw readers
// touch files. The defaults are the POSIX calls; a test swaps an entry to fail
// a chosen call (EIO, ENOSPC, a short count) without changing the code under test.
//
// read and write move all n bytes unless the file ends or an error occurs, and
// return how many bytes moved, or -1. seek positions from the start of the file
// and returns the new offset or -1. open, close and unlink answer as POSIX does.
#include <cstdint>

#include "package/PackageExport.h"

struct UXDD_API BlockFileIO {
  int (*open)(const char* path, int flags, int mode);
  int64_t (*seek)(int fd, int64_t offset);
  int64_t (*read)(int fd, void* data, int64_t n);
  int64_t (*write)(int fd, const void* data, int64_t n);
  int (*close)(int fd);
  int (*unlink)(const char* path);

  // The table in use, process-wide.
  static BlockFileIO& current();
  static void restoreDefaults();
};
