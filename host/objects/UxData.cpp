#include "host/objects/UxData.h"

#include <string>

#include "host/base/TbFilename.h"
#include "host/types/TbTypeInfo.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxObjectPool.h"

namespace {

int getBoundingBoxCommand(UxData& data, Tcl_Interp* interp, int, char**) {
  float box[6];
  data.getBoundingBox(box);
  Tcl_VaSetResult(interp, "%g %g %g %g %g %g", box[0], box[1], box[2], box[3], box[4], box[5]);
  return TCL_OK;
}

int isModifiedCommand(UxData& data, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%d", data.isModified() ? 1 : 0);
  return TCL_OK;
}

// Answers with the command itself, so a script can `eval` it.
int getLoadCmdCommand(UxData& data, Tcl_Interp* interp, int, char**) {
  if (data.isLoadCmdScript() || !*data.getLoadCmd()) {
    Tcl_VaSetResult(interp, "%s", data.getLoadCmd());
    return TCL_OK;
  }
  Tcl_Obj* words[2] = {Tcl_NewStringObj("load", -1), Tcl_NewStringObj(data.getLoadCmd(), -1)};
  Tcl_SetObjResult(interp, Tcl_NewListObj(2, words));
  return TCL_OK;
}

int getFormatNameCommand(UxData& data, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%s", data.formatName ? data.formatName : "");
  return TCL_OK;
}

const UxCommandEntry<UxData> kDataCommands[] = {
    {"getBoundingBox", 0, 0, "", getBoundingBoxCommand},
    {"isModified", 0, 0, "", isModifiedCommand},
    {"getLoadCmd", 0, 0, "", getLoadCmdCommand},
    {"getFormatName", 0, 0, "", getFormatNameCommand},
};

std::string nameForRegistration(const UxData* object, const char* path, const char* name) {
  if (name && *name) return name;
  if (*object->getLabel()) return object->getLabel();
  if (path && *path) return TbFilename(path).basename();
  return object->getTypeId()->getName();
}

}  // namespace

UxData::UxData() = default;

UxData::~UxData() = default;

TbTypeInfo* UxData::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxData::getClassTypeId() {
  static TbTypeInfo* const record = new TbTypeInfo("UxData", nullptr, UxObject::getClassTypeId());
  return record;
}

int UxData::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kDataCommands, *this, interp, argc, argv);
  return handled >= 0 ? handled : UxObject::parse(interp, argc, argv);
}

void UxData::setModified(unsigned int modified) { modifiedFlags = modified; }

void UxData::getBoundingBox(float* box) const {
  for (int axis = 0; axis < 3; ++axis) {
    box[2 * axis] = 0.0f;
    box[2 * axis + 1] = 1.0f;
  }
}

void UxData::setLoadCmd(const char* text, int isScript) {
  loadCmd = text;
  loadCmdIsScript = isScript;
}

void UxData::registerData(UxData* object, const char* path, const char* name) {
  if (!object) return;
  if (path && *path && !*object->getLoadCmd()) object->setLoadCmd(path, 0);
  const std::string wanted = nameForRegistration(object, path, name);
  UxObjectPool::getThePool()->add(object, wanted.c_str());
}
