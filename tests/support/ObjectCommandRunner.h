#pragma once
// Runs one command on a host object the way the shell does: a real Tcl
// interpreter, getCmdInfo() emptied first, the words as a char** vector.
#include <tcl.h>

#include <string>
#include <vector>

#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxObject.h"

class ObjectCommandRunner {
 public:
  ObjectCommandRunner() : interp(Tcl_CreateInterp()) {}
  ~ObjectCommandRunner() { Tcl_DeleteInterp(interp); }
  ObjectCommandRunner(const ObjectCommandRunner&) = delete;
  ObjectCommandRunner& operator=(const ObjectCommandRunner&) = delete;

  int run(UxObject& object, const std::vector<std::string>& words) {
    std::vector<std::string> copies(words);
    std::vector<char*> argv;
    for (std::string& word : copies) argv.push_back(&word[0]);
    argv.push_back(nullptr);
    getCmdInfo().clear();
    Tcl_ResetResult(interp);
    return object.parse(interp, static_cast<int>(words.size()), argv.data());
  }
  std::string result() const { return Tcl_GetStringResult(interp); }

  Tcl_Interp* const interp;
};
