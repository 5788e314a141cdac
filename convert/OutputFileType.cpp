#include "convert/OutputFileType.h"

#include "host/base/TbAssertionHandlerInit.h"
#include "host/modules/UxPortFilename.h"
#include "host/modules/UxSkin.h"

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
