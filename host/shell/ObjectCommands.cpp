#include "host/shell/ObjectCommands.h"

#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxObject.h"

namespace {

int runObjectCommand(ClientData clientData, Tcl_Interp* interp, int argc, const char** argv) {
  auto* object = static_cast<UxObject*>(clientData);
  getCmdInfo().clear();
  // Held for the call: a command may well make the pool let go of its object.
  object->ref();
  // The host's handlers take char**; this is the one place where Tcl's
  // words lose their const, and no handler writes to them.
  const int status = object->parse(interp, argc, const_cast<char**>(argv));
  object->unref();
  return status == TCL_OK ? TCL_OK : TCL_ERROR;
}

}  // namespace

ObjectCommands::ObjectCommands(Tcl_Interp* shellInterp) : interp(shellInterp) {}

void ObjectCommands::objectAdded(UxObject* object, const char* name) {
  Tcl_CreateCommand(interp, name, runObjectCommand, object, nullptr);
}

void ObjectCommands::objectRemoved(UxObject*, const char* name) { Tcl_DeleteCommand(interp, name); }

void ObjectCommands::objectRenamed(UxObject* object, const char* oldName, const char* newName) {
  Tcl_DeleteCommand(interp, oldName);
  Tcl_CreateCommand(interp, newName, runObjectCommand, object, nullptr);
}

bool ObjectCommands::isNameReserved(const char* name) const {
  Tcl_CmdInfo info;
  return Tcl_GetCommandInfo(interp, name, &info) != 0;
}
