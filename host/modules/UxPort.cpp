#include "host/modules/UxPort.h"

#include "host/objects/UxCmdInfo.h"
#include "host/modules/UxModule.h"

namespace {

int isVisibleCommand(UxPort& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, Tcl_NewBooleanObj(port.isVisible()));
  return TCL_OK;
}

int isNewCommand(UxPort& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, Tcl_NewBooleanObj(port.hasNewValue()));
  return TCL_OK;
}

const UxCommandEntry<UxPort> kPortCommands[] = {
    {"isVisible", 0, 0, "", isVisibleCommand},
    {"isNew", 0, 0, "", isNewCommand},
};

// Ports are members, made while their owner is still being built; by then the
// owner's virtual calls already answer for the class that holds the port, which
// is all this question needs.
UxModule* moduleOf(UxObject* owner) {
  if (!owner || !owner->isOfType(UxModule::getClassTypeId())) return nullptr;
  return static_cast<UxModule*>(owner);
}

}  // namespace

UxPort::UxPort(UxObject* portOwner, const char* portName)
    : owner(portOwner), module(moduleOf(portOwner)), name(portName) {
  if (module) module->addPort(this);
}

UxPort::~UxPort() {
  if (module) module->removePort(this);
}

void UxPort::showMaskDecrease() {
  if (hideCount > 0) --hideCount;
}

int UxPort::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kPortCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  if (argc < 2) return cmdError(interp, 2, argc > 0 ? argv[0] : "");
  return cmdError(interp, 1, argv[1]);
}

void UxPort::computed() { untouch(); }
