#include "host/shell/QtEnvironment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

bool isSet(const char* name) {
  const char* value = std::getenv(name);
  return value && *value;
}

// Qt insists on a folder of the user's own with mode 0700.
bool makePrivateFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != getuid())
      return false;
  }
  return chmod(path.c_str(), 0700) == 0;
}

}  // namespace

void prepareQtEnvironment() {
  if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM"))
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  if (!isSet("XDG_RUNTIME_DIR")) {
    const char* temp = std::getenv("TMPDIR");
    const std::string folder = std::string(temp && *temp ? temp : "/tmp") + "/korin-runtime-" +
                               std::to_string(getuid());
    if (makePrivateFolder(folder)) setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  }
  if (!isSet("QT_LOGGING_RULES")) setenv("QT_LOGGING_RULES", "default.warning=false", 1);
}
