#pragma once
// UxObject: a host object that answers Tcl commands and carries parameters.
//
// parse() receives the words of one command addressed to the object: argv[0]
// the object's name, argv[1] the command word. It returns 0 (TCL_OK) or 1
// (TCL_ERROR) with the interpreter's result set; it never throws. The base
// understands getLabel, setLabel NEWLABEL and getTypeId; an unknown word fails
// through cmdError(interp, 1, word), whose message lists every command word the
// handlers along the way offered in getCmdInfo(). Subclasses handle their own
// words first and pass everything else to their base class's parse.
#include <tcl.h>

#include "host/objects/UxBase.h"
#include "host/mesh/UxParamBundle.h"

class UxObject : public UxBase {
 public:
  UxObject();
  ~UxObject() override;

  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  virtual int parse(Tcl_Interp* interp, int argc, char** argv);
  virtual void setLabel(const char* newLabel);

  UxParamBundle& parameters() { return params; }
  const UxParamBundle& parameters() const { return params; }

 private:
  UxParamBundle params;
};
