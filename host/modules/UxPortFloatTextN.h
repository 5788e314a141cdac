#pragma once
// UxPortFloatTextN: a port of a fixed number of number fields.
//
// Nothing here fails: setValue on a field that does not exist is ignored and
// getValue of one is 0. Tcl words: setValue V ?V ...? sets the fields from
// the first on (at most as many values as fields; a word that is not a number
// fails and changes nothing), getValue ?FIELD? gives one field or, without
// FIELD, all of them as a list.
#include <vector>

#include "host/modules/UxPort.h"

class UxPortFloatTextN : public UxPort {
 public:
  UxPortFloatTextN(UxObject* owner, const char* name, int numFields);

  int getNum() const { return static_cast<int>(values.size()); }
  void setValue(int field, float value);
  float getValue(int field) const;

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

  // How a Tcl word becomes a field's value, and a field's value a Tcl value:
  // an integer port takes and gives integers only. The parse sets the
  // interpreter's result and returns false for a bad word.
  virtual bool parseField(Tcl_Interp* interp, const char* word, float* value) const;
  virtual Tcl_Obj* fieldObj(int field) const;

 private:
  std::vector<float> values;
};
