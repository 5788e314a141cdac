#include "host/shell/NewLatticeCommand.h"

#include <cstring>

#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxExternalData.h"
#include "host/objects/UxLatticeTypes.h"
#include "host/objects/UxObjectPool.h"
#include "host/packages/UxPackageLoader.h"

const char kNewLatticeUsage[] = "-ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?";

namespace {

const char* const kDimWords[3] = {"X", "Y", "Z"};
const char* const kBoxWords[6] = {"xmin", "xmax", "ymin", "ymax", "zmin", "zmax"};

struct LatticeWords {
  int nDataVar = 0;
  const char* type = nullptr;
  int dims[3] = {0, 0, 0};
  float box[6] = {-1, 1, -1, 1, -1, 1};
};

int parseRealWord(Tcl_Interp* interp, const char* what, const char* word, float* value) {
  double number = 0.0;
  if (Tcl_GetDouble(nullptr, word, &number) != TCL_OK) {
    Tcl_VaSetResult(interp, "newLattice: bad %s \"%s\": expected a number", what, word);
    return 0;
  }
  *value = static_cast<float>(number);
  return 1;
}

int parseLatticeWords(Tcl_Interp* interp, int argc, const char** argv, LatticeWords& words) {
  if (argc != 7 && argc != 13) return !usageError(interp, "newLattice", kNewLatticeUsage);
  if (std::strcmp(argv[1], "-ondisk") != 0) {
    Tcl_VaSetResult(interp, "newLattice: unknown kind \"%s\": expected -ondisk", argv[1]);
    return 0;
  }
  if (!parseIntWord(interp, "newLattice", "NDATAVAR", argv[2], &words.nDataVar)) return 0;
  words.type = argv[3];
  for (int a = 0; a < 3; ++a)
    if (!parseIntWord(interp, "newLattice", kDimWords[a], argv[4 + a], &words.dims[a])) return 0;
  for (int i = 0; argc == 13 && i < 6; ++i)
    if (!parseRealWord(interp, kBoxWords[i], argv[7 + i], &words.box[i])) return 0;
  return 1;
}

}  // namespace

int newLatticeCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  LatticeWords words;
  if (!parseLatticeWords(interp, argc, argv, words)) return TCL_ERROR;
  UxLatticeCreator creator = UxPackageLoader::getTheLoader()->findLatticeCreator("ondisk");
  if (!creator) {
    Tcl_VaSetResult(interp, "newLattice: no package offers on-disk lattices");
    return TCL_ERROR;
  }
  UxExternalData* lattice = creator(words.nDataVar, words.type, 3, words.dims, words.box,
                                    KORIN_UNIFORM_LATTICE_TYPE);
  if (!lattice) {
    Tcl_VaSetResult(interp, "newLattice: the package made no lattice");
    return TCL_ERROR;
  }
  UxData::registerData(lattice, nullptr, nullptr);
  Tcl_VaSetResult(interp, "%s", UxObjectPool::getThePool()->nameOf(lattice));
  return TCL_OK;
}
