// The converter module's commands: convertToDiskData and forceKorin311Format.
#include <cstdlib>
#include <cstring>

#include "convert/ConverterMessages.h"
#include "convert/OutputFileType.h"
#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/objects/UxCmdInfo.h"
#include "host/console/UxMessage.h"

namespace {
TbAssertionHandlerInit assertionHandler;

int convertCommand(UxConvertToDiskData& module, Tcl_Interp* interp, int argc, char** argv) {
  if (argc <= 2) {
    UxMessage::getTheMsg()->printf("%s", kConvertUsage);
    return 1;
  }
  Tcl_VaSetResult(interp, "%d", module.convertToDiskData(argc, argv));
  return 0;
}

int forceFormatCommand(UxConvertToDiskData& module, Tcl_Interp*, int argc, char** argv) {
  if (argc != 3) {
    UxMessage* console = UxMessage::getTheMsg();
    console->printf("Usage: forceKorin311Format [value]");
    console->printf("Supported values:");
    console->printf("0 = Disable (Default)");
    console->printf("1 = Enable");
    return 1;
  }
  module.force311Format = std::strtol(argv[2], nullptr, 10) != 0;
  offerOutputFileType(module.output, module.force311Format);
  return 0;
}

struct ModuleCommand {
  const char* name;
  int (*run)(UxConvertToDiskData&, Tcl_Interp*, int, char**);
};

const ModuleCommand kCommands[] = {
    {"convertToDiskData", convertCommand},
    {"forceKorin311Format", forceFormatCommand},
};
}  // namespace

int UxConvertToDiskData::parse(Tcl_Interp* interp, int argc, char** argv) {
  for (const ModuleCommand& command : kCommands) {
    getCmdInfo().append({command.name, nullptr});
    if (argc >= 2 && std::strcmp(argv[1], command.name) == 0) return command.run(*this, interp, argc, argv);
  }
  return UxModule::parse(interp, argc, argv);
}
