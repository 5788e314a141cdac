// The disk data's own command and the host's hook for new on-disk lattices.
#include <cstring>

#include "diskdata/UxDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbDataType.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxLatticeTypes.h"
#include "package/CommandWords.h"

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

const UxCommandEntry<UxDiskData> kDiskDataCommands[] = {
    {"createDiskData", 0, kAnyCount, nullptr, createDiskDataCommand},
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
