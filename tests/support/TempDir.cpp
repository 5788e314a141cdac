#include "support/TempDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

TempDir::TempDir() : TempDir(nullptr) {}

TempDir::TempDir(const char* base) {
  struct stat info;
  if (!base || stat(base, &info) != 0 || !S_ISDIR(info.st_mode)) base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/uxdd-test-XXXXXX";
  char* made = mkdtemp(&pattern[0]);
  dir = made ? made : "";
  if (made) chmod(made, 0755);  // an unprivileged reader may look inside
}

TempDir::~TempDir() {
  std::error_code ignored;
  if (!dir.empty()) std::filesystem::remove_all(dir, ignored);
}

std::string readWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void writeWholeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

long long sizeOfFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}
