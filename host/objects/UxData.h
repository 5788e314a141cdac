#pragma once
// UxData: a host object that holds data: modified state, bounding box, the
// way it is reloaded, and its way into the object pool.
//
// registerData hands a new object to the pool (which refs it); it never fails
// for a non-null object. The object's name is, in this order of preference,
// the given name, the object's label, the base name of path, its type name,
// made unique by the pool. Beyond UxObject's words, parse understands
// getBoundingBox, isModified, getLoadCmd and getFormatName.
#include "host/base/TbString.h"
#include "host/objects/UxObject.h"

class UxData : public UxObject {
 public:
  UxData();
  ~UxData() override;

  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

  virtual void setModified(unsigned int modified);
  // Six floats: xmin, xmax, ymin, ymax, zmin, zmax. The base gives 0..1.
  virtual void getBoundingBox(float* box) const;

  unsigned int isModified() const { return modifiedFlags; }

  // How the object is made again. isScript 0: text is a file for `load`;
  // otherwise text is a Tcl command that recreates the object.
  void setLoadCmd(const char* text, int isScript);
  const char* getLoadCmd() const { return loadCmd.getString(); }
  int isLoadCmdScript() const { return loadCmdIsScript; }

  // Also records path as the load command when the object has none yet.
  static void registerData(UxData* object, const char* path, const char* name);

  // The format the object was read from, e.g. for a save dialog; null if none.
  const char* formatName = nullptr;

 private:
  unsigned int modifiedFlags = 0;
  TbString loadCmd;
  int loadCmdIsScript = 0;
};
