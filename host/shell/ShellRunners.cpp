// The ways a script reaches the shell: a file, a command-line string, standard
// input as a whole, or line by line at the interactive prompt.
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/shell/KorinShell.h"

namespace {

const char* errorInfoOf(Tcl_Interp* interp) {
  const char* info = Tcl_GetVar(interp, "errorInfo", TCL_GLOBAL_ONLY);
  return info && *info ? info : Tcl_GetStringResult(interp);
}

void printResult(Tcl_Interp* interp) {
  const char* result = Tcl_GetStringResult(interp);
  if (*result) std::printf("%s\n", result);
}

}  // namespace

// A top-level `return` ends a script normally.
int KorinShell::report(int status) {
  std::fflush(stdout);
  if (status == TCL_OK || status == TCL_RETURN) return 0;
  std::fprintf(stderr, "%s\n", errorInfoOf(tcl));
  std::fflush(stderr);
  return 1;
}

int KorinShell::runFile(const char* path) { return report(Tcl_EvalFile(tcl, path)); }

int KorinShell::runScript(const char* script) {
  return report(Tcl_EvalEx(tcl, script, -1, TCL_EVAL_GLOBAL));
}

int KorinShell::runStdin() {
  const std::string script((std::istreambuf_iterator<char>(std::cin)),
                           std::istreambuf_iterator<char>());
  return runScript(script.c_str());
}

// Errors at the prompt are shown and forgotten: the session goes on.
int KorinShell::runInteractive() {
  UxBatchAnswers::setInteractive(true);
  Tcl_SetVar(tcl, "tcl_interactive", "1", TCL_GLOBAL_ONLY);
  std::string command;
  for (;;) {
    std::fputs(command.empty() ? "korin> " : "> ", stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) break;
    command += line + "\n";
    if (!Tcl_CommandComplete(command.c_str())) continue;
    if (Tcl_EvalEx(tcl, command.c_str(), -1, TCL_EVAL_GLOBAL) == TCL_OK)
      printResult(tcl);
    else
      std::fprintf(stderr, "%s\n", Tcl_GetStringResult(tcl));
    command.clear();
  }
  std::fputs("\n", stdout);
  return 0;
}
