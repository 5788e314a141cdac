#include "host/modules/UxModule.h"

#include <cstring>

#include "host/types/TbTypeInfo.h"
#include "host/objects/UxCmdInfo.h"

namespace {

int getPortsCommand(UxModule& module, Tcl_Interp* interp, int, char**) {
  Tcl_Obj* names = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < module.numPorts(); ++i)
    Tcl_ListObjAppendElement(nullptr, names, Tcl_NewStringObj(module.getPort(i)->getName(), -1));
  Tcl_SetObjResult(interp, names);
  return TCL_OK;
}

int fireCommand(UxModule& module, Tcl_Interp*, int, char**) {
  module.fire();
  return TCL_OK;
}

const UxCommandEntry<UxModule> kModuleCommands[] = {
    {"getPorts", 0, 0, "", getPortsCommand},
    {"fire", 0, 0, "", fireCommand},
};

}  // namespace

UxModule::UxModule(TbInterfaceOwner* owner) : interfaceOwner(owner), portData(this, "data") {}

// Ports of derived classes are gone by now and have left the list; the ones
// still listed outlive it, so they must not reach back into it.
UxModule::~UxModule() {
  for (int i = 0; i < ports.size(); ++i) ports[i]->module = nullptr;
}

TbTypeInfo* UxModule::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxModule::getClassTypeId() {
  static TbTypeInfo* const record =
      new TbTypeInfo("UxModule", nullptr, UxObject::getClassTypeId());
  return record;
}

void UxModule::compute() {}

void UxModule::update() {}

void UxModule::fire() {
  update();
  compute();
  for (int i = 0; i < ports.size(); ++i) ports[i]->computed();
}

UxPort* UxModule::findPort(const char* name) const {
  for (int i = 0; i < ports.size(); ++i)
    if (std::strcmp(ports[i]->getName(), name) == 0) return ports[i];
  return nullptr;
}

void UxModule::addPort(UxPort* port) { ports.append(port); }

void UxModule::removePort(UxPort* port) {
  for (int i = 0; i < ports.size(); ++i) {
    if (ports[i] != port) continue;
    ports.remove(i);
    return;
  }
}

// The words after a port's name are the port's alone, so an error there lists
// only what that port offers.
int UxModule::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kModuleCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  UxPort* port = argc >= 2 ? findPort(argv[1]) : nullptr;
  if (port) {
    getCmdInfo().clear();
    return port->parse(interp, argc - 1, argv + 1);
  }
  for (int i = 0; i < ports.size(); ++i)
    getCmdInfo().append(UxCmdInfo{ports[i]->getName(), "WORD ..."});
  return UxObject::parse(interp, argc, argv);
}
