#include "host/lda/LdaStoreFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

bool exists(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

std::string reason(const std::string& path) { return path + ": " + std::strerror(errno); }

// Puts `from` at `to`, where something already is, and removes the old one.
bool exchange(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
    removeStoreTree(from);
    return true;
  }
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return false;
  // A file system without the exchange: two renames, the old one kept aside meanwhile.
  const std::string aside = from + "-old";
  if (::rename(to.c_str(), aside.c_str()) != 0) return false;
  if (::rename(from.c_str(), to.c_str()) != 0) {
    const int error = errno;
    ::rename(aside.c_str(), to.c_str());
    errno = error;
    return false;
  }
  removeStoreTree(aside);
  return true;
}

}  // namespace

bool makeStoreSubfolder(const std::string& root, const std::string& key, std::string& why) {
  if (::mkdir((root + "/" + key).c_str(), 0755) == 0 || errno == EEXIST) return true;
  why = key + ": " + std::strerror(errno);
  return false;
}

bool removeStoreTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
  return !exists(path);
}

LdaStoreFolder::LdaStoreFolder(std::string outputPath)
    : output(std::move(outputPath)),
      temporary(output + ".writing-" + std::to_string(static_cast<long>(::getpid()))) {}

LdaStoreFolder::~LdaStoreFolder() {
  if (created) removeStoreTree(temporary);
}

bool LdaStoreFolder::create(std::string& why) {
  removeStoreTree(temporary);  // left by an earlier run of a process with our id
  if (::mkdir(temporary.c_str(), 0755) != 0) {
    why = reason(temporary);
    return false;
  }
  created = true;
  return true;
}

bool LdaStoreFolder::commit(std::string& why) {
  const bool replace = exists(output);
  if (replace ? !exchange(temporary, output) : ::rename(temporary.c_str(), output.c_str()) != 0) {
    why = reason(output);
    return false;
  }
  created = false;
  return true;
}
