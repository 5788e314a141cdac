#include "host/packages/UxPackageLoader.h"

#include <dirent.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "host/base/TbFilename.h"
#include "host/console/UxMessage.h"
#include "host/packages/UxResource.h"

namespace {

typedef const char* (*BuildInfoEntry)();
typedef void (*VoidEntry)();

const char kResourceSuffix[] = ".rc";

bool hasResourceSuffix(const std::string& file) {
  const size_t n = sizeof kResourceSuffix - 1;
  return file.size() > n && file.compare(file.size() - n, n, kResourceSuffix) == 0;
}

std::vector<std::string> resourceNamesIn(const char* directory) {
  std::vector<std::string> names;
  DIR* folder = opendir(directory);
  if (!folder) return names;
  while (dirent* entry = readdir(folder)) {
    const std::string file = entry->d_name;
    if (hasResourceSuffix(file)) names.push_back(file.substr(0, file.size() - 3));
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

UxPackageLoader* UxPackageLoader::getTheLoader() {
  static UxPackageLoader theLoader;
  return &theLoader;
}

const UxPackageLoader::Package* UxPackageLoader::find(const char* name) const {
  for (const Package& package : packages)
    if (name && package.name == name) return &package;
  return nullptr;
}

int UxPackageLoader::openLibrary(Package& package, const char* directory, const char* name) {
  UxMessage* console = UxMessage::getTheMsg();
  const std::string library = std::string(directory) + "/lib" + name + ".so";
  package.handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!package.handle) {
    console->printf("package %s: cannot load %s: %s", name, library.c_str(), dlerror());
    return 0;
  }
  const std::string entry = std::string("korinpackage_") + name;
  const std::string entries[3] = {entry, entry + "_init", entry + "_finish"};
  void* found[3];
  for (int i = 0; i < 3; ++i) {
    found[i] = dlsym(package.handle, entries[i].c_str());
    if (found[i]) continue;
    console->printf("package %s: %s lacks the entry point \"%s\"", name, library.c_str(),
                    entries[i].c_str());
    dlclose(package.handle);
    package.handle = nullptr;
    return 0;
  }
  const char* info = reinterpret_cast<BuildInfoEntry>(found[0])();
  package.buildInfo = info ? info : "";
  reinterpret_cast<VoidEntry>(found[1])();
  package.finish = reinterpret_cast<VoidEntry>(found[2]);
  return 1;
}

int UxPackageLoader::runResourceFile(Tcl_Interp* interp, const Package& package) {
  const std::string resource = package.directory + "/" + package.name + kResourceSuffix;
  if (!TbFilename(resource.c_str()).doesExist()) return 1;
  createResourceCommands(interp);
  const int status = Tcl_EvalFile(interp, resource.c_str());
  if (status != TCL_OK)
    UxMessage::getTheMsg()->printf("package %s: %s: %s", package.name.c_str(), resource.c_str(),
                                   Tcl_GetStringResult(interp));
  Tcl_ResetResult(interp);
  return status == TCL_OK;
}

int UxPackageLoader::load(Tcl_Interp* interp, const char* directory, const char* name) {
  if (const Package* known = find(name)) {
    UxMessage::getTheMsg()->printf("package %s: already loaded from %s", name,
                                   known->directory.c_str());
    return 0;
  }
  Package package;
  package.name = name;
  package.directory = directory;
  if (!openLibrary(package, directory, name)) return 0;
  packages.push_back(package);
  loading = numPackages() - 1;
  const int status = runResourceFile(interp, packages.back());
  loading = -1;
  return status;
}

int UxPackageLoader::loadAllIn(Tcl_Interp* interp, const char* directory) {
  int loaded = 0;
  for (const std::string& name : resourceNamesIn(directory))
    if (!find(name.c_str())) loaded += load(interp, directory, name.c_str());
  return loaded;
}

void UxPackageLoader::finishAll() {
  creators.clear();
  while (!packages.empty()) {
    Package& package = packages.back();
    for (const std::string& type : package.contentTypes)
      UxResource::registerReader(type.c_str(), nullptr);
    package.finish();
    dlclose(package.handle);
    packages.pop_back();
  }
}

UxLatticeCreator UxPackageLoader::findLatticeCreator(const char* kind) const {
  for (const CreatorEntry& entry : creators)
    if (kind && entry.kind == kind) return entry.creator;
  return nullptr;
}

UxPackageLoader::Package* UxPackageLoader::packageBeingLoaded() {
  return loading >= 0 ? &packages[loading] : nullptr;
}

void* UxPackageLoader::findSymbol(const char* symbol) const {
  return loading >= 0 ? dlsym(packages[loading].handle, symbol) : nullptr;
}

void UxPackageLoader::setLatticeCreator(const char* kind, UxLatticeCreator creator) {
  for (CreatorEntry& entry : creators) {
    if (entry.kind != kind) continue;
    entry.creator = creator;
    return;
  }
  creators.push_back(CreatorEntry{kind, creator});
}
