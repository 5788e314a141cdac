#pragma once
// TbFileIO: the one seam through which the host's file work and the packages'
// block files touch the file system. The defaults are the POSIX calls; a test
// swaps the table to fail a chosen call (EIO, ENOSPC, a short count) or to
// model a crash, without changing the code under test. Calls may come from
// several threads at once.
//
// Transfers move all n bytes unless the file ends or an error occurs, and
// return how many bytes moved, or -1 when none did: a count below n means the
// rest did not move. A call interrupted by a signal (EINTR) is made again, so
// a short count never stands for an interruption. seek positions from the
// start of the file and returns the new offset or -1. The positioned and
// vectored calls leave the file position alone. sync makes the file's data
// and length durable (fdatasync); syncFolder makes the names created, renamed
// or removed in a folder durable. truncate sets a file's length; size gives a
// file's length by name, or -1 when it cannot be found. stat and fstat tell a
// regular file from a folder and from anything else (a pipe, a device, a
// socket), following a link. rename replaces `to` as
// rename(2) does; exchange swaps two existing names in one step, and answers
// -1 with EINVAL or ENOSYS where the file system cannot. list gives the names
// in a folder, "." and ".." left out. map makes `length` bytes of an open
// file from `offset` (a multiple of the page size) readable in memory, read
// ahead, or answers null; unmap lets them go. lock takes an exclusive
// advisory lock of the file behind `fd` without waiting, held until that
// descriptor is closed (flock: two descriptors of one file conflict, also in
// one process); it answers -1 with EWOULDBLOCK when another holds it.
// startWriteback asks the system to begin writing a range of a file to disk
// without waiting: a hint that makes no promise, so that a later sync has
// little left to do; its failure may be ignored. open,
// close, unlink, mkdir and rmdir answer as POSIX does. Every call answers 0 (or a count) on success and -1
// with errno set on failure. Nothing here prints.
#include <sys/uio.h>

#include <cstdint>
#include <string>
#include <vector>

struct TbFileInfo {
  enum Kind { REGULAR, FOLDER, OTHER };
  Kind kind;
  int64_t size;
};

struct TbFileIO {
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
  int (*syncFolder)(const char* folder);
  int (*mkdir)(const char* path, int mode);
  int (*rmdir)(const char* path);
  int (*rename)(const char* from, const char* to);
  int (*exchange)(const char* first, const char* second);
  int (*stat)(const char* path, TbFileInfo* info);
  int (*fstat)(int fd, TbFileInfo* info);
  int (*list)(const char* folder, std::vector<std::string>* names);
  const void* (*map)(int fd, int64_t offset, int64_t length);
  int (*unmap)(const void* data, int64_t length);
  int (*lock)(int fd);
  int (*startWriteback)(int fd, int64_t offset, int64_t length);

  // The table in use, process-wide.
  static TbFileIO& current();
  static void restoreDefaults();
  // The POSIX table, for layers that wrap it.
  static const TbFileIO& posix();
  // The folder holding `path`: "." for a bare name, "/" for a name in the root.
  static std::string folderOf(const std::string& path);
};
