#pragma once
// KorinShell: the host's command shell: one Tcl interpreter with the host's
// commands, the objects of the pool as commands, and the packages.
//
// The run* calls return the process exit status: 0 when the script ran
// through, 1 after printing the Tcl error and its errorInfo on stderr.
// Tcl's `exit N` ends the process at once with status N, after finish() and
// the beforeExit hook. finish() removes every object and finishes and closes
// every package; it runs once, whichever way the shell ends.
#include <tcl.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class ObjectCommands;

class KorinShell {
 public:
  KorinShell(const char* executable, std::function<void()> beforeExit);
  ~KorinShell();
  KorinShell(const KorinShell&) = delete;
  KorinShell& operator=(const KorinShell&) = delete;

  Tcl_Interp* interp() const { return tcl; }

  void loadPackages();
  // Sets the Tcl variables argv0, argv and argc.
  void setScriptArguments(const std::string& argv0, const std::vector<std::string>& args);

  int runFile(const char* path);
  int runScript(const char* script);
  int runStdin();
  int runInteractive();

  void finish();
  [[noreturn]] void exitProcess(int status);

 private:
  int report(int status);

  Tcl_Interp* tcl;
  std::unique_ptr<ObjectCommands> objectCommands;
  std::function<void()> beforeExit;
  bool finished = false;
};
