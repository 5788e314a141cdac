#pragma once
// UxPortIntTextN: a port of a fixed number of integer fields. The values are
// held as UxPortFloatTextN holds them and read back rounded to the nearest
// integer (halves away from zero). Through Tcl only integers are taken, with
// the same words as UxPortFloatTextN; nothing here fails otherwise.
#include "host/modules/UxPortFloatTextN.h"

class UxPortIntTextN : public UxPortFloatTextN {
 public:
  UxPortIntTextN(UxObject* owner, const char* name, int numFields);

  using UxPortFloatTextN::setValue;
  void setValue(int field, int value) { setValue(field, static_cast<float>(value)); }
  int getValue(int field) const;

  bool parseField(Tcl_Interp* interp, const char* word, float* value) const override;
  Tcl_Obj* fieldObj(int field) const override;
};
