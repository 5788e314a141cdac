#pragma once
// UxPackageLoader: brings packages (shared libraries) into the process.
//
// A package NAME is the library libNAME.so with the entry points
// korinpackage_NAME (its build information), korinpackage_NAME_init and
// korinpackage_NAME_finish, and beside it the resource file NAME.rc, a Tcl
// script that tells the host what the package offers (dataReader,
// latticeCreator, moduleType; see UxPackageResourceCommands.cpp). load()
// returns 1, or 0 after a console message naming what failed: a library that
// cannot be opened or lacks an entry point is closed again and not listed; a
// package whose resource file fails stays loaded with what it registered so
// far. finishAll() calls every package's finish entry point, newest first,
// forgets what the packages registered and closes the libraries; objects made
// by package code must be gone by then.
#include <tcl.h>

#include <string>
#include <vector>

class UxExternalData;

typedef UxExternalData* (*UxLatticeCreator)(int nDataVar, const char* dataType, int nDims,
                                             const int* dims, const float* bbox,
                                             const char* latticeType);

class UxPackageLoader {
 public:
  struct Package {
    std::string name;
    std::string directory;
    std::string buildInfo;
    void* handle = nullptr;
    void (*finish)() = nullptr;
    std::vector<std::string> contentTypes;  // readers it registered
    std::vector<std::string> moduleTypes;
  };

  static UxPackageLoader* getTheLoader();

  int load(Tcl_Interp* interp, const char* directory, const char* name);
  // Every package whose NAME.rc lies in directory, in name order. Answers the
  // number loaded; a missing folder loads none, silently.
  int loadAllIn(Tcl_Interp* interp, const char* directory);
  void finishAll();

  int numPackages() const { return static_cast<int>(packages.size()); }
  const Package& getPackage(int index) const { return packages[index]; }
  const Package* find(const char* name) const;

  UxLatticeCreator findLatticeCreator(const char* kind) const;

  // For the resource-file commands, which act on the package being loaded.
  Package* packageBeingLoaded();
  void* findSymbol(const char* symbol) const;
  void setLatticeCreator(const char* kind, UxLatticeCreator creator);

  // Makes dataReader, latticeCreator and moduleType known to interp.
  static void createResourceCommands(Tcl_Interp* interp);

 private:
  struct CreatorEntry {
    std::string kind;
    UxLatticeCreator creator;
  };
  int openLibrary(Package& package, const char* directory, const char* name);
  int runResourceFile(Tcl_Interp* interp, const Package& package);

  std::vector<Package> packages;
  std::vector<CreatorEntry> creators;
  int loading = -1;  // index of the package whose resource file runs
};
