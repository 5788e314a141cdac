#pragma once
// TbMemoryBudget: the most resident memory the whole process may reach while
// the host does large work of its own: the tiled converter plans its buffers
// from what is left of the budget once the process is running. 1 GiB unless
// set (`korin --memory SIZE`, or the shell command `memoryBudget SIZE`).
//
// parse reads a size as people write it: a whole number of bytes, or one
// followed by K, M, G or T (powers of 1024, "512M", "2G"); it answers false
// for anything else and for sizes below 1 MiB. residentBytes is the
// process's resident memory now, 0 where it cannot be read. Nothing fails.
#include <cstdint>
#include <string>

class TbMemoryBudget {
 public:
  static const int64_t kDefault = int64_t(1) << 30;
  static const int64_t kSmallest = int64_t(1) << 20;

  static int64_t bytes();
  static void set(int64_t bytes);
  static bool parse(const char* text, int64_t& bytes);
  // "1 GiB", "512 MiB", "1536 KiB", "1000 bytes": the largest unit that divides it.
  static std::string format(int64_t bytes);
  static int64_t residentBytes();
};
