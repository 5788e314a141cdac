#pragma once
// The host's helpers for Tcl command handlers.
//
// getCmdInfo() collects the command words that the object being parsed offers:
// every parse handler appends its names on every call, whatever the command,
// and the shell empties the list before it dispatches an object command. The
// error helpers set the interpreter's result and return 1 (TCL_ERROR), so a
// handler can `return cmdError(...)`. Nothing here throws or prints.
#include <tcl.h>

#include <cstring>

#include "host/base/TbDArray.h"

struct UxCmdInfo {
  const char* name;
  const char* help;  // the argument words, or null
};

TbDArray<UxCmdInfo>& getCmdInfo();

// kind 1: unknown command (the message lists the names in getCmdInfo(), each
// once, in the order offered); kind 2: wrong number of arguments; any other
// kind: a general failure of the command.
int cmdError(Tcl_Interp* interp, int kind, const char* command);

// Sets the result from a printf-style format.
void Tcl_VaSetResult(Tcl_Interp* interp, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Sets "COMMAND: expected USAGE" ("expected no arguments" for an empty usage)
// and returns 1.
int usageError(Tcl_Interp* interp, const char* command, const char* usage);

// 1 when numArgs (the words after the command word) lies in min..max; else
// 0 after usageError.
int checkCommandArgs(Tcl_Interp* interp, const char* command, int numArgs, int minArgs,
                     int maxArgs, const char* usage);

// Strict integer (Tcl's own syntax); on failure sets
// "COMMAND: bad WHAT \"WORD\": expected an integer" and returns 0.
int parseIntWord(Tcl_Interp* interp, const char* command, const char* what, const char* word,
                 int* value);

// One command word of an object's table. The handler receives the whole
// argument vector: argv[0] the object's name, argv[1] the command word.
template <class Target>
struct UxCommandEntry {
  const char* name;
  int minArgs;
  int maxArgs;
  const char* usage;
  int (*handler)(Target& target, Tcl_Interp* interp, int argc, char** argv);
};

// Offers the table's names in getCmdInfo(), then runs the entry named by
// argv[1] after checking its argument count. Returns -1, result untouched,
// when the table has no such entry, so the caller can pass the words on.
template <class Target, int N>
int dispatchCommand(const UxCommandEntry<Target> (&table)[N], Target& target,
                    Tcl_Interp* interp, int argc, char** argv) {
  for (const auto& entry : table) getCmdInfo().append(UxCmdInfo{entry.name, entry.usage});
  if (argc < 2) return -1;
  for (const auto& entry : table) {
    if (std::strcmp(entry.name, argv[1]) != 0) continue;
    if (!checkCommandArgs(interp, entry.name, argc - 2, entry.minArgs, entry.maxArgs, entry.usage))
      return 1;
    return entry.handler(target, interp, argc, argv);
  }
  return -1;
}
