#pragma once
// BlockFileIO: the one seam through which the block store and the raw readers
// touch files. The defaults are the POSIX calls; a test swaps the table to fail
// a chosen call (EIO, ENOSPC, a short count) or to model a crash, without
// changing the code under test.
//
// Transfers move all n bytes unless the file ends or an error occurs, and
// return how many bytes moved, or -1 when none did: a count below n means the
// rest did not move. seek positions from the start of the file and returns the
// new offset or -1. The positioned and vectored calls (pread, pwrite, preadv,
// pwritev) leave the file position alone. sync makes the file's data durable
// (fdatasync); truncate sets a file's length; size gives a file's length by
// name, or -1 when it cannot be found; syncDir makes the creation or removal of
// names in the folder holding path durable. open, close and unlink answer as
// POSIX does. Nothing here prints.
#include <sys/uio.h>

#include <cstdint>

#include "package/PackageExport.h"

struct UXDD_API BlockFileIO {
  int (*open)(const char* path, int flags, int mode);
  int (*close)(int fd);
  int (*unlink)(const char* path);
  int64_t (*seek)(int fd, int64_t offset);
  int64_t (*read)(int fd, void* data, int64_t n);
  int64_t (*pread)(int fd, void* data, int64_t n, int64_t offset);
  int64_t (*pwrite)(int fd, const void* data, int64_t n, int64_t offset);
  int64_t (*preadv)(int fd, const iovec* parts, int count, int64_t offset);
  int64_t (*pwritev)(int fd, const iovec* parts, int count, int64_t offset);
  int (*sync)(int fd);
  int (*truncate)(int fd, int64_t length);
  int64_t (*size)(const char* path);
  int (*syncDir)(const char* path);

  // The table in use, process-wide.
  static BlockFileIO& current();
  static void restoreDefaults();
  // The POSIX table, for layers that wrap it.
  static const BlockFileIO& posix();
};
