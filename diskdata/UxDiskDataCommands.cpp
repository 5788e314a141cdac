// The disk data's own command and the host's hook for new on-disk lattices.
#include <cstring>

#include "blockstore/SetCheck.h"
#include "diskdata/UxDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbDataType.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxLatticeTypes.h"
#include "package/CommandWords.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

struct TypeWord {
  const char* name;
  const char* digit;  // counts the rows, so "5" is uint16 although its type code is 7
  int primType;
};

const TypeWord kTypeWords[] = {
    {"uint8", "0", TbPrimType::UINT8},   {"int16", "1", TbPrimType::INT16},
    {"int32", "2", TbPrimType::INT32},   {"float", "3", TbPrimType::FLOAT},
    {"double", "4", TbPrimType::DOUBLE}, {"uint16", "5", TbPrimType::UINT16},
};

int primTypeOfWord(const char* word) {
  for (const TypeWord& t : kTypeWords)
    if (std::strcmp(word, t.name) == 0 || std::strcmp(word, t.digit) == 0) return t.primType;
  return -1;
}

const int kAnyCount = 1 << 30;  // the handlers check their own word counts

// object createDiskData descriptionFile dataFilePath x y z nDataVar type
int createDiskDataCommand(UxDiskData&, Tcl_Interp* interp, int argc, char** argv) {
  if (argc != 9) return cmdError(interp, 2, argv[1]);
  const int type = primTypeOfWord(argv[8]);
  if (type < 0) return 1;
  const int size[3] = {leadingInt(argv[4]), leadingInt(argv[5]), leadingInt(argv[6])};
  UxDiskData* data = UxDiskData::create(argv[2], argv[3], size, leadingInt(argv[7]), type, UxDiskData::kDefaultBox);
  if (!data) return 1;
  // The new set becomes one of the host's objects, so its name is a command at once.
  UxData::registerData(data, argv[2], nullptr);
  Tcl_VaSetResult(interp, "%s", data->getLabel());
  return 0;
}

Tcl_Obj* fileEntry(Tcl_Obj* list, const SetCheck::File& file) {
  Tcl_ListObjAppendElement(nullptr, list, Tcl_NewStringObj(file.name.c_str(), -1));
  Tcl_ListObjAppendElement(nullptr, list, Tcl_NewWideIntObj(file.expected));
  Tcl_ListObjAppendElement(nullptr, list, Tcl_NewWideIntObj(file.actual));
  return list;
}

void put(Tcl_Obj* dict, const char* key, Tcl_Obj* value) {
  Tcl_DictObjPut(nullptr, dict, Tcl_NewStringObj(key, -1), value);
}

Tcl_Obj* checkAsDict(const SetCheck& check) {
  Tcl_Obj* dict = Tcl_NewDictObj();
  Tcl_Obj* files = Tcl_NewListObj(0, nullptr);
  for (const SetCheck::File& f : check.blockFiles) fileEntry(files, f);
  put(dict, "files", files);
  put(dict, "validFlagFile", fileEntry(Tcl_NewListObj(0, nullptr), check.validFlagFile));
  put(dict, "neverWrittenLevel0", Tcl_NewIntObj(check.neverWrittenLevel0));
  Tcl_Obj* levels = Tcl_NewListObj(0, nullptr);
  for (const SetCheck::Level& l : check.coarseLevels) {
    Tcl_ListObjAppendElement(nullptr, levels, Tcl_NewIntObj(l.level));
    Tcl_ListObjAppendElement(nullptr, levels, Tcl_NewIntObj(l.outOfDate));
  }
  put(dict, "outOfDate", levels);
  put(dict, "intentRecord", Tcl_NewIntObj(check.intentRecordFound));
  put(dict, "complete", Tcl_NewIntObj(check.complete()));
  return dict;
}

void printCheck(const SetCheck& check, const char* setName) {
  console().printf("Check of %s:", setName);
  for (const SetCheck::File& f : check.blockFiles)
    console().printf("  %s: %lld bytes of %lld", f.name.c_str(), static_cast<long long>(f.actual),
                     static_cast<long long>(f.expected));
  console().printf("  %s (valid flags): %lld bytes of %lld", check.validFlagFile.name.c_str(),
                   static_cast<long long>(check.validFlagFile.actual), static_cast<long long>(check.validFlagFile.expected));
  console().printf("  full-resolution blocks never written: %d of %d", check.neverWrittenLevel0, check.level0Blocks);
  for (const SetCheck::Level& l : check.coarseLevels)
    console().printf("  level %d blocks out of date: %d of %d", l.level, l.outOfDate, l.blocks);
  if (check.intentRecordFound)
    console().printf("  an intent record of an interrupted session was found and applied");
  console().printf("  the set is %s", check.complete() ? "complete" : "incomplete");
}

// object check: the set's files and flags, as a dict and on the console.
int checkCommand(UxDiskData& data, Tcl_Interp* interp, int, char**) {
  const SetCheck check = checkSet(*data.latticeManager);
  printCheck(check, data.filename.getString());
  Tcl_SetObjResult(interp, checkAsDict(check));
  return 0;
}

const UxCommandEntry<UxDiskData> kDiskDataCommands[] = {
    {"createDiskData", 0, kAnyCount, nullptr, createDiskDataCommand},
    {"check", 0, 0, "", checkCommand},
};
}  // namespace

int UxDiskData::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kDiskDataCommands, *this, interp, argc, argv);
  return handled >= 0 ? handled : UxExternalData::parse(interp, argc, argv);
}

UxDiskData* UxDiskData__create_uxlattice(int nDataVar, const char* dataType, int nDims,
                                         const int* dims, const float* bbox,
                                         const char* latticeType) {
  if (!latticeType || std::strcmp(latticeType, KORIN_UNIFORM_LATTICE_TYPE) != 0) return nullptr;
  if (nDims != 3) return nullptr;
  TbDataType type;
  type.init(dataType);
  if (!type.isTbPrimType()) return nullptr;
  return UxDiskData::create(nullptr, nullptr, dims, nDataVar, type.asTbPrimType(), bbox ? bbox : UxDiskData::kDefaultBox);
}
