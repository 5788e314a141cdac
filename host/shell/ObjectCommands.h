#pragma once
// ObjectCommands: one Tcl command per object in the pool, named like the
// object. The command empties getCmdInfo() and hands its words to the
// object's parse(); it goes away when the object leaves the pool and moves
// when the pool renames the object. Names of existing Tcl commands count as
// taken, so an object never hides a command. Nothing here fails.
#include <tcl.h>

#include "host/objects/UxObjectPool.h"

class ObjectCommands : public UxObjectPool::Observer {
 public:
  explicit ObjectCommands(Tcl_Interp* interp);

  void objectAdded(UxObject* object, const char* name) override;
  void objectRemoved(UxObject* object, const char* name) override;
  void objectRenamed(UxObject* object, const char* oldName, const char* newName) override;
  bool isNameReserved(const char* name) const override;

 private:
  Tcl_Interp* interp;
};
