#include "KorinProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/TempDir.h"

extern char** environ;

namespace {

// One folder for the whole test program; each run overwrites its files.
const TempDir& scratch() {
  static TempDir dir;
  return dir;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes,
                                         const std::vector<std::string>& unset) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    if (changes.count(name) || std::count(unset.begin(), unset.end(), name)) continue;
    result.push_back(text);
  }
  for (const auto& change : changes) result.push_back(change.first + "=" + change.second);
  return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(&text[0]);
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

KorinProcess::KorinProcess() : folder(scratch().path()) {
  unset = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
  changes["KORIN_PACKAGE_PATH"] = "";
}

std::string KorinProcess::executable() { return std::string(KORIN_BUILD_DIR) + "/korin"; }

KorinProcess& KorinProcess::setEnv(const std::string& name, const std::string& value) {
  changes[name] = value;
  return *this;
}

KorinProcess& KorinProcess::withTestPackages() {
  return setEnv("KORIN_PACKAGE_PATH", std::string(KORIN_BUILD_DIR) + "/testpackages");
}

KorinProcess& KorinProcess::withBrokenPackages() {
  return setEnv("KORIN_PACKAGE_PATH", std::string(KORIN_BUILD_DIR) + "/testpackages-broken");
}

KorinProcess& KorinProcess::input(const std::string& text) {
  stdinText = text;
  return *this;
}

std::string KorinProcess::file(const std::string& name) const { return folder + "/" + name; }

ShellRun KorinProcess::run(const std::vector<std::string>& args) const {
  const std::string in = file("stdin.txt"), out = file("stdout.txt"), err = file("stderr.txt");
  writeWholeFile(in, stdinText);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

  std::vector<std::string> argv = {executable()};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<std::string> env = environmentWith(changes, unset);
  std::vector<char*> argvPointers = pointersTo(argv), envPointers = pointersTo(env);
  ShellRun result;
  pid_t child = 0;
  if (posix_spawn(&child, argv[0].c_str(), &actions, nullptr, argvPointers.data(),
                  envPointers.data()) == 0) {
    int waitStatus = 0;
    waitpid(child, &waitStatus, 0);
    result.status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
  }
  posix_spawn_file_actions_destroy(&actions);
  result.out = readWholeFile(out);
  result.err = readWholeFile(err);
  return result;
}

ShellRun KorinProcess::runScript(const std::string& script,
                                 const std::vector<std::string>& args) const {
  const std::string path = file("script.tcl");
  writeWholeFile(path, script);
  std::vector<std::string> all = {path};
  all.insert(all.end(), args.begin(), args.end());
  return run(all);
}
