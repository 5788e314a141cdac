#include "host/base/TbMemoryBudget.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace {

int64_t budget = TbMemoryBudget::kDefault;

}  // namespace

int64_t TbMemoryBudget::bytes() { return budget; }

void TbMemoryBudget::set(int64_t value) { budget = value < kSmallest ? kSmallest : value; }

bool TbMemoryBudget::parse(const char* text, int64_t& out) {
  if (!text || !std::isdigit(static_cast<unsigned char>(*text))) return false;
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text, &end, 10);
  int shift = 0;
  switch (std::toupper(static_cast<unsigned char>(*end))) {
    case 'K': shift = 10; break;
    case 'M': shift = 20; break;
    case 'G': shift = 30; break;
    case 'T': shift = 40; break;
    case '\0': break;
    default: return false;
  }
  if (shift && *++end != '\0' && !((*end == 'i' || *end == 'I') && (end[1] == 'B' || end[1] == 'b') && end[2] == '\0') &&
      !((*end == 'B' || *end == 'b') && end[1] == '\0'))
    return false;
  if (number > (static_cast<unsigned long long>(INT64_MAX) >> shift)) return false;
  out = static_cast<int64_t>(number << shift);
  return out >= kSmallest;
}

std::string TbMemoryBudget::format(int64_t value) {
  const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (unit < 4 && value > 0 && value % 1024 == 0) {
    value /= 1024;
    ++unit;
  }
  return std::to_string(value) + " " + units[unit];
}

int64_t TbMemoryBudget::residentBytes() {
  FILE* statm = std::fopen("/proc/self/statm", "r");
  if (!statm) return 0;
  long long pages = 0, resident = 0;
  const bool read = std::fscanf(statm, "%lld %lld", &pages, &resident) == 2;
  std::fclose(statm);
  return read ? resident * ::sysconf(_SC_PAGESIZE) : 0;
}
