#include "host/modules/UxPortFloatTextN.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "host/objects/UxCmdInfo.h"

namespace {

int setValueCommand(UxPortFloatTextN& port, Tcl_Interp* interp, int argc, char** argv) {
  const int count = argc - 2;
  if (count > port.getNum()) {
    Tcl_VaSetResult(interp, "setValue: expected at most %d values", port.getNum());
    return TCL_ERROR;
  }
  std::vector<float> parsed(count);
  for (int i = 0; i < count; ++i)
    if (!port.parseField(interp, argv[2 + i], &parsed[i])) return TCL_ERROR;
  for (int i = 0; i < count; ++i) port.setValue(i, parsed[i]);
  port.touch();
  return TCL_OK;
}

int getValueCommand(UxPortFloatTextN& port, Tcl_Interp* interp, int argc, char** argv) {
  if (argc == 2) {
    Tcl_Obj* all = Tcl_NewListObj(0, nullptr);
    for (int i = 0; i < port.getNum(); ++i) Tcl_ListObjAppendElement(nullptr, all, port.fieldObj(i));
    Tcl_SetObjResult(interp, all);
    return TCL_OK;
  }
  int field = 0;
  if (!parseIntWord(interp, "getValue", "field", argv[2], &field)) return TCL_ERROR;
  if (field < 0 || field >= port.getNum()) {
    Tcl_VaSetResult(interp, "getValue: bad field \"%s\": expected 0..%d", argv[2],
                    port.getNum() - 1);
    return TCL_ERROR;
  }
  Tcl_SetObjResult(interp, port.fieldObj(field));
  return TCL_OK;
}

const UxCommandEntry<UxPortFloatTextN> kTextCommands[] = {
    {"setValue", 1, 1 << 30, "V ?V ...?", setValueCommand},
    {"getValue", 0, 1, "?FIELD?", getValueCommand},
};

// The shortest spelling that reads back as the same float, so 0.1 stays 0.1.
Tcl_Obj* floatObj(float value) {
  char text[32];
  for (int digits = 6; digits < 10; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
    if (std::strtof(text, nullptr) == value) break;
  }
  return Tcl_NewStringObj(text, -1);
}

}  // namespace

UxPortFloatTextN::UxPortFloatTextN(UxObject* owner, const char* name, int numFields)
    : UxPort(owner, name), values(numFields > 0 ? numFields : 0, 0.0f) {}

void UxPortFloatTextN::setValue(int field, float value) {
  if (field >= 0 && field < getNum()) values[field] = value;
}

float UxPortFloatTextN::getValue(int field) const {
  return field >= 0 && field < getNum() ? values[field] : 0.0f;
}

bool UxPortFloatTextN::parseField(Tcl_Interp* interp, const char* word, float* value) const {
  double parsed = 0;
  if (Tcl_GetDouble(nullptr, word, &parsed) != TCL_OK) {
    Tcl_VaSetResult(interp, "setValue: bad value \"%s\": expected a number", word);
    return false;
  }
  if (!std::isfinite(parsed) || std::fabs(parsed) > FLT_MAX) {
    Tcl_VaSetResult(interp, "setValue: bad value \"%s\": out of range", word);
    return false;
  }
  *value = static_cast<float>(parsed);
  return true;
}

Tcl_Obj* UxPortFloatTextN::fieldObj(int field) const { return floatObj(getValue(field)); }

int UxPortFloatTextN::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kTextCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  return UxPort::parse(interp, argc, argv);
}
