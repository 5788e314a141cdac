#include "host/objects/UxCmdInfo.h"

#include <cstdarg>
#include <cstdio>
#include <string>

TbDArray<UxCmdInfo>& getCmdInfo() {
  static TbDArray<UxCmdInfo> offered;
  return offered;
}

namespace {

bool offeredBefore(const TbDArray<UxCmdInfo>& offered, int index) {
  for (int i = 0; i < index; ++i)
    if (std::strcmp(offered[i].name, offered[index].name) == 0) return true;
  return false;
}

std::string knownCommandNames() {
  const TbDArray<UxCmdInfo>& offered = getCmdInfo();
  std::string names;
  for (int i = 0; i < offered.size(); ++i) {
    if (!offered[i].name || offeredBefore(offered, i)) continue;
    if (!names.empty()) names += ", ";
    names += offered[i].name;
  }
  return names;
}

void setResultText(Tcl_Interp* interp, const std::string& text) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj(text.data(), static_cast<int>(text.size())));
}

}  // namespace

int cmdError(Tcl_Interp* interp, int kind, const char* command) {
  const std::string quoted = std::string("\"") + (command ? command : "") + "\"";
  if (kind == 1) {
    const std::string known = knownCommandNames();
    setResultText(interp, "unknown command " + quoted + (known.empty() ? "" : "; known: " + known));
  } else if (kind == 2) {
    setResultText(interp, "wrong # args for " + quoted);
  } else {
    setResultText(interp, "command " + quoted + " failed");
  }
  return 1;
}

void Tcl_VaSetResult(Tcl_Interp* interp, const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
  if (length > 0) std::vsnprintf(&text[0], text.size(), format, again);
  va_end(again);
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  setResultText(interp, text);
}

int usageError(Tcl_Interp* interp, const char* command, const char* usage) {
  if (usage && *usage)
    Tcl_VaSetResult(interp, "%s: expected %s", command, usage);
  else
    Tcl_VaSetResult(interp, "%s: expected no arguments", command);
  return 1;
}

int checkCommandArgs(Tcl_Interp* interp, const char* command, int numArgs, int minArgs,
                     int maxArgs, const char* usage) {
  if (numArgs >= minArgs && numArgs <= maxArgs) return 1;
  usageError(interp, command, usage);
  return 0;
}

int parseIntWord(Tcl_Interp* interp, const char* command, const char* what, const char* word,
                 int* value) {
  if (Tcl_GetInt(nullptr, word, value) == TCL_OK) return 1;
  Tcl_VaSetResult(interp, "%s: bad %s \"%s\": expected an integer", command, what, word);
  return 0;
}
