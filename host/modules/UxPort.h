#pragma once
// UxPort: one input of a module, such as a file name, a menu or a button.
//
// A port registers with its owner in its constructor when the owner is a
// UxModule (other owners keep no list) and leaves it again when destroyed, so
// the module lists its ports in the order they were made. Hiding is counted:
// the port is visible only while every hideMaskIncrease() has been undone by
// a showMaskDecrease(); extra decreases are ignored. The new-value mark says
// the port changed since the module last computed: Tcl setters and button
// presses set it, the module's fire clears it; C++ setters leave it alone.
//
// parse() gets the words after the module's name: argv[0] the port's name,
// argv[1] the port's command word. It returns 0 (TCL_OK) or 1 (TCL_ERROR)
// with the interpreter's result set, and never throws. The base understands
// isVisible and isNew; subclasses handle their own words first.
#include <tcl.h>

#include "host/base/TbString.h"

class UxModule;
class UxObject;

class UxPort {
 public:
  UxPort(UxObject* owner, const char* name);
  virtual ~UxPort();
  UxPort(const UxPort&) = delete;
  UxPort& operator=(const UxPort&) = delete;

  const char* getName() const { return name.getString(); }
  UxObject* getOwner() const { return owner; }

  void setLabelWidth(int width) { labelWidth = width; }
  int getLabelWidth() const { return labelWidth; }

  void hideMaskIncrease() { ++hideCount; }
  void showMaskDecrease();
  bool isVisible() const { return hideCount == 0; }

  bool hasNewValue() const { return newValue; }
  void touch() { newValue = true; }
  void untouch() { newValue = false; }

  virtual int parse(Tcl_Interp* interp, int argc, char** argv);

  // Called by the module once it has computed: drops the new-value mark and
  // whatever else only lasts until the next compute.
  virtual void computed();

 private:
  friend class UxModule;  // forgets itself in every port it outlives

  UxObject* owner;
  UxModule* module;
  TbString name;
  int labelWidth = 0;
  int hideCount = 0;
  bool newValue = false;
};
