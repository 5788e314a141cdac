#include "host/modules/UxPortIntTextN.h"

#include <cmath>

#include "host/objects/UxCmdInfo.h"

UxPortIntTextN::UxPortIntTextN(UxObject* owner, const char* name, int numFields)
    : UxPortFloatTextN(owner, name, numFields) {}

int UxPortIntTextN::getValue(int field) const {
  return static_cast<int>(std::lround(UxPortFloatTextN::getValue(field)));
}

bool UxPortIntTextN::parseField(Tcl_Interp* interp, const char* word, float* value) const {
  int parsed = 0;
  if (!parseIntWord(interp, "setValue", "value", word, &parsed)) return false;
  *value = static_cast<float>(parsed);
  return true;
}

Tcl_Obj* UxPortIntTextN::fieldObj(int field) const { return Tcl_NewIntObj(getValue(field)); }
