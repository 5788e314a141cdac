#pragma once
// Runs the real korin executable as a child process: arguments, a few
// environment changes, standard input from a text, and standard output and
// error collected through files in a temporary folder.
#include <map>
#include <string>
#include <vector>

struct ShellRun {
  int status = -1;  // the exit status, or 128 + the signal that ended it
  std::string out;
  std::string err;
};

class KorinProcess {
 public:
  // No display and, unless a test says otherwise, no packages at all.
  KorinProcess();

  KorinProcess& setEnv(const std::string& name, const std::string& value);
  // Packages from this folder of the build ("" for the build's own folder).
  KorinProcess& withPackagesIn(const std::string& folder);
  KorinProcess& input(const std::string& text);
  // Runs korin on a terminal of its own (made by script(1)), which echoes the input.
  KorinProcess& atTerminal();

  ShellRun run(const std::vector<std::string>& args) const;
  // Writes the script to a file of the temporary folder and runs it.
  ShellRun runScript(const std::string& script, const std::vector<std::string>& args = {}) const;
  std::string file(const std::string& name) const;

 private:
  std::map<std::string, std::string> changes;
  std::string stdinText;
  bool terminal = false;
  std::string folder;
};
