#include "host/lda/LdaStoreFolder.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/base/TbFileIO.h"

namespace {

TbFileIO& io() { return TbFileIO::current(); }

bool exists(const std::string& path) {
  TbFileInfo info;
  return io().stat(path.c_str(), &info) == 0;
}

std::string reason(const std::string& path) { return path + ": " + std::strerror(errno ? errno : EIO); }

std::string baseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

const char kWritingMark[] = ".writing-";

}  // namespace

bool removeStoreTree(const std::string& path) {
  TbFileInfo info;
  if (io().stat(path.c_str(), &info) != 0) return errno == ENOENT;
  if (info.kind != TbFileInfo::FOLDER) return io().unlink(path.c_str()) == 0;
  std::vector<std::string> names;
  if (io().list(path.c_str(), &names) == 0)
    for (const std::string& name : names) removeStoreTree(path + "/" + name);
  return io().rmdir(path.c_str()) == 0;
}

LdaStoreFolder::LdaStoreFolder(std::string outputPath)
    : output(std::move(outputPath)),
      temporary(output + kWritingMark + std::to_string(static_cast<long>(::getpid()))) {}

LdaStoreFolder::LdaStoreFolder(std::string outputPath, std::string folder)
    : output(std::move(outputPath)), temporary(std::move(folder)) {}

LdaStoreFolder::~LdaStoreFolder() {
  if (created) removeStoreTree(temporary);
}

// Stores a run stopped by a crash or a kill left beside the output: their
// names end in the process id of a process that is gone.
void LdaStoreFolder::removeLeftovers() const {
  const std::string prefix = baseName(output) + kWritingMark;
  const std::string parent = TbFileIO::folderOf(output);
  std::vector<std::string> names;
  if (io().list(parent.c_str(), &names) != 0) return;
  for (const std::string& name : names) {
    if (name.compare(0, prefix.size(), prefix) != 0) continue;
    char* end = nullptr;
    const long pid = std::strtol(name.c_str() + prefix.size(), &end, 10);
    if (pid > 0 && *end == '\0' && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)
      removeStoreTree(parent + "/" + name);
  }
}

bool LdaStoreFolder::create(std::string& why) {
  removeStoreTree(temporary);  // left by an earlier run of a process with our id
  removeLeftovers();
  if (io().mkdir(temporary.c_str(), 0755) != 0) {
    why = reason(temporary);
    return false;
  }
  created = true;
  return true;
}

bool LdaStoreFolder::makeFolder(const std::string& key, std::string& why) {
  if (folders.count(key)) return true;
  const size_t slash = key.rfind('/');
  if (slash != std::string::npos && !makeFolder(key.substr(0, slash), why)) return false;
  if (io().mkdir((temporary + "/" + key).c_str(), 0755) != 0 && errno != EEXIST) {
    why = key + ": " + std::strerror(errno);
    return false;
  }
  folders.insert(key);
  return true;
}

bool LdaStoreFolder::adoptTree(std::string& why) { return adopt("", why); }

bool LdaStoreFolder::adopt(const std::string& key, std::string& why) {
  const std::string path = key.empty() ? temporary : temporary + "/" + key;
  std::vector<std::string> names;
  if (io().list(path.c_str(), &names) != 0) {
    why = reason(path);
    return false;
  }
  for (const std::string& name : names) {
    const std::string child = key.empty() ? name : key + "/" + name;
    TbFileInfo info;
    if (io().stat((temporary + "/" + child).c_str(), &info) != 0 || info.kind != TbFileInfo::FOLDER) continue;
    folders.insert(child);
    if (!adopt(child, why)) return false;
  }
  return true;
}

// The names in every folder of the new tree made durable, the deepest first.
bool LdaStoreFolder::syncFolders(std::string& why) const {
  for (auto key = folders.rbegin(); key != folders.rend(); ++key)
    if (io().syncFolder((temporary + "/" + *key).c_str()) != 0) {
      why = reason(temporary + "/" + *key);
      return false;
    }
  if (io().syncFolder(temporary.c_str()) == 0) return true;
  why = reason(temporary);
  return false;
}

// The new tree at the output's name, the old one (if any) at the temporary name.
bool LdaStoreFolder::putInPlace(std::string& why) {
  if (!exists(output)) {
    if (io().rename(temporary.c_str(), output.c_str()) == 0) return true;
  } else if (io().exchange(temporary.c_str(), output.c_str()) == 0) {
    return true;
  } else if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP) {
    // A file system without the exchange: the old output is renamed aside first.
    const std::string aside = temporary + "-old";
    if (io().rename(output.c_str(), aside.c_str()) == 0) {
      if (io().rename(temporary.c_str(), output.c_str()) == 0 && io().rename(aside.c_str(), temporary.c_str()) == 0)
        return true;
      const int error = errno;
      if (!exists(output)) io().rename(aside.c_str(), output.c_str());
      errno = error;
    }
  }
  why = reason(output);
  return false;
}

bool LdaStoreFolder::commit(std::string& why) {
  const bool replacing = exists(output);
  if (!syncFolders(why) || !putInPlace(why)) return false;
  const std::string parent = TbFileIO::folderOf(output);
  if (io().syncFolder(parent.c_str()) != 0) {
    why = reason(parent);
    // Not durable: the old output goes back, and the new store is removed as after any failure.
    if (replacing) io().exchange(temporary.c_str(), output.c_str());
    else io().rename(output.c_str(), temporary.c_str());
    return false;
  }
  created = false;  // what is at the temporary name now is the old output
  removeStoreTree(temporary);
  return true;
}
