#include "host/shell/PackageFolders.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <sstream>

std::string executableFolder() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return "";
  const std::string executable(path, static_cast<size_t>(length));
  const size_t slash = executable.rfind('/');
  return slash == std::string::npos ? "" : executable.substr(0, slash);
}

std::vector<std::string> packageFolders() {
  std::vector<std::string> folders;
  if (const char* listed = std::getenv("KORIN_PACKAGE_PATH")) {
    std::istringstream parts(listed);
    for (std::string folder; std::getline(parts, folder, ':');)
      if (!folder.empty()) folders.push_back(folder);
    return folders;
  }
  const std::string own = executableFolder();
  if (!own.empty()) {
    folders.push_back(own);
    folders.push_back(own + "/../lib");
  }
  return folders;
}
