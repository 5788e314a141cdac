// The converter module's commands: convertToDiskData and forceKorin311Format.
#include "convert/ConverterMessages.h"
#include "convert/OutputFileType.h"
#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/objects/UxCmdInfo.h"
#include "package/CommandWords.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int kAnyCount = 1 << 30;  // the handlers check their own word counts

int convertCommand(UxConvertToDiskData& module, Tcl_Interp* interp, int argc, char** argv) {
  if (argc <= 2) {
    console().printf("%s", kConvertUsage);
    return 1;
  }
  Tcl_VaSetResult(interp, "%d", module.convertToDiskData(argc, argv));
  return 0;
}

int forceFormatCommand(UxConvertToDiskData& module, Tcl_Interp*, int argc, char** argv) {
  if (argc != 3) {
    console().printf("Usage: forceKorin311Format [value]");
    console().printf("Supported values:");
    console().printf("0 = Disable (Default)");
    console().printf("1 = Enable");
    return 1;
  }
  module.force311Format = leadingInt(argv[2]) != 0;
  offerOutputFileType(module.output, module.force311Format);
  return 0;
}

const UxCommandEntry<UxConvertToDiskData> kConverterCommands[] = {
    {"convertToDiskData", 0, kAnyCount, nullptr, convertCommand},
    {"forceKorin311Format", 0, kAnyCount, nullptr, forceFormatCommand},
};
}  // namespace

int UxConvertToDiskData::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kConverterCommands, *this, interp, argc, argv);
  return handled >= 0 ? handled : UxModule::parse(interp, argc, argv);
}
