// The package's entry points, found by the host by name, and what runs when the
// library is loaded and unloaded.
#include <cstring>

#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "package/BuildInfo.h"
#include "package/PackageExport.h"

namespace {
TbAssertionHandlerInit assertionHandler;

bool isInitialized = false;
bool isFinished = false;

const char kBuildRecord[] = UXDD_BUILD_RECORD;
const char kMarkerSpread[] = UXDD_BUILD_MARKER_SPREAD;
}  // namespace

extern "C" {

UXDD_API const char* korinpackage_uxdiskdata() {
  // The record follows a marker that a build step finds to stamp the size in;
  // the host gets the text from the "|" before "vendor" on.
  return kBuildRecord + std::strlen(kMarkerSpread) / 2;
}

UXDD_API void korinpackage_uxdiskdata_init() {
  if (isInitialized) return;
  isInitialized = true;
  UxConvertToDiskData::initClass();
}

UXDD_API void korinpackage_uxdiskdata_finish() {
  if (!isFinished) isFinished = true;
}

UXDD_API void soconstructor_uxdiskdata() { korinpackage_uxdiskdata_init(); }

UXDD_API void sodestructor_uxdiskdata() { korinpackage_uxdiskdata_finish(); }

}  // extern "C"

namespace {
__attribute__((constructor)) void loadPackage() { soconstructor_uxdiskdata(); }
__attribute__((destructor)) void unloadPackage() { sodestructor_uxdiskdata(); }
}  // namespace
