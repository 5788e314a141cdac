#include "host/objects/UxObject.h"

#include "host/types/TbTypeInfo.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxObjectPool.h"

namespace {

int getLabelCommand(UxObject& object, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%s", object.getLabel());
  return TCL_OK;
}

// A pooled object's label is also its command name, so the pool renames it:
// that keeps the name unique and moves the command along.
int setLabelCommand(UxObject& object, Tcl_Interp* interp, int, char** argv) {
  UxObjectPool* pool = UxObjectPool::getThePool();
  if (pool->contains(&object)) {
    Tcl_VaSetResult(interp, "%s", pool->rename(&object, argv[2]));
  } else {
    object.setLabel(argv[2]);
    Tcl_VaSetResult(interp, "%s", object.getLabel());
  }
  return TCL_OK;
}

int getTypeIdCommand(UxObject& object, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%s", object.getTypeId()->getName());
  return TCL_OK;
}

const UxCommandEntry<UxObject> kObjectCommands[] = {
    {"getLabel", 0, 0, "", getLabelCommand},
    {"setLabel", 1, 1, "NEWLABEL", setLabelCommand},
    {"getTypeId", 0, 0, "", getTypeIdCommand},
};

}  // namespace

UxObject::UxObject() = default;

UxObject::~UxObject() = default;

TbTypeInfo* UxObject::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxObject::getClassTypeId() {
  static TbTypeInfo* const record = new TbTypeInfo("UxObject", nullptr, UxBase::getClassTypeId());
  return record;
}

int UxObject::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kObjectCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  if (argc < 2) return cmdError(interp, 2, argc > 0 ? argv[0] : "");
  return cmdError(interp, 1, argv[1]);
}

void UxObject::setLabel(const char* newLabel) { label = newLabel; }
