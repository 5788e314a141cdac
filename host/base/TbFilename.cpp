#include "host/base/TbFilename.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

bool TbFilename::doesExist() const { return ::access(getString(), F_OK) == 0; }

bool TbFilename::isReadable() const { return ::access(getString(), R_OK) == 0; }

bool TbFilename::isWriteable() const { return ::access(getString(), W_OK) == 0; }

int TbFilename::unlink() const { return ::unlink(getString()); }

const char* TbFilename::basename() const {
  const char* slash = std::strrchr(getString(), '/');
  return slash ? slash + 1 : getString();
}

void TbFilename::removeExtension() {
  size_t base = text.rfind('/');
  base = base == std::string::npos ? 0 : base + 1;
  size_t dot = text.rfind('.');
  if (dot != std::string::npos && dot > base) text.resize(dot);
}

int64_t TbFilename::fileSize() const {
  struct stat info;
  if (::stat(getString(), &info) != 0) return -1;
  return static_cast<int64_t>(info.st_size);
}
