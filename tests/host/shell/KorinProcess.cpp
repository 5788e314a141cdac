#include "KorinProcess.h"

#include <sys/wait.h>

#include <cstdlib>

#include "support/TempDir.h"

namespace {

// One folder for the whole test program; each run overwrites its files.
const TempDir& scratch() {
  static TempDir dir;
  return dir;
}

// The word as the shell's single-quoted text.
std::string quoted(const std::string& word) {
  std::string text = "'";
  for (char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

}  // namespace

KorinProcess::KorinProcess() : folder(scratch().path()) { changes["KORIN_PACKAGE_PATH"] = ""; }

KorinProcess& KorinProcess::setEnv(const std::string& name, const std::string& value) {
  changes[name] = value;
  return *this;
}

KorinProcess& KorinProcess::withPackagesIn(const std::string& folder) {
  return setEnv("KORIN_PACKAGE_PATH", std::string(KORIN_BUILD_DIR) + (folder.empty() ? "" : "/" + folder));
}

KorinProcess& KorinProcess::input(const std::string& text) {
  stdinText = text;
  return *this;
}

KorinProcess& KorinProcess::atTerminal() {
  terminal = true;
  return *this;
}

std::string KorinProcess::file(const std::string& name) const { return folder + "/" + name; }

ShellRun KorinProcess::run(const std::vector<std::string>& args) const {
  const std::string in = file("stdin.txt"), out = file("stdout.txt"), err = file("stderr.txt");
  writeWholeFile(in, stdinText);
  std::string command = "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM";
  for (const auto& change : changes) command += " " + quoted(change.first + "=" + change.second);
  std::string korin = quoted(std::string(KORIN_BUILD_DIR) + "/korin");
  for (const std::string& arg : args) korin += " " + quoted(arg);
  command += terminal ? " script -qec " + quoted(korin) + " /dev/null" : " " + korin;
  const int status = std::system((command + " <" + quoted(in) + " >" + quoted(out) + " 2>" + quoted(err)).c_str());
  ShellRun result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
