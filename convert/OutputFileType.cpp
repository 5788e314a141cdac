#include "convert/OutputFileType.h"

#include "host/TbAssertionHandlerInit.h"
#include "host/UxPortFilename.h"
#include "host/UxSkin.h"

namespace {
TbAssertionHandlerInit assertionHandler;
}  // namespace

void offerOutputFileType(UxPortFilename& output, bool diskData) {
  output.clearFileTypes();
  if (diskData) {
    output.registerFileType("DiskData", "km", 0);
    return;
  }
  TbString label = UxSkin::getGlobalInstance()->productName;
  label += " Large Data Access";
  output.registerFileType(label.getString(), "lda", 0);
}
