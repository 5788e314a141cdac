// The commands of a package's resource file. They act on the package whose
// resource file is being run and refuse to work anywhere else, so a script
// cannot plant a reader that no package backs.
#include <cstring>

#include "host/types/TbTypeInfo.h"
#include "host/objects/UxCmdInfo.h"
#include "host/console/UxMessage.h"
#include "host/packages/UxPackageLoader.h"
#include "host/packages/UxResource.h"

namespace {

struct ResourceCommand {
  const char* name;
  int numArgs;
  const char* usage;
  int (*handler)(UxPackageLoader::Package& package, Tcl_Interp* interp, const char** argv);
};

void* symbolOrError(Tcl_Interp* interp, const char* command,
                    const UxPackageLoader::Package& package, const char* symbol) {
  void* found = UxPackageLoader::getTheLoader()->findSymbol(symbol);
  if (!found)
    Tcl_VaSetResult(interp, "%s: package \"%s\" has no symbol \"%s\"", command,
                    package.name.c_str(), symbol);
  return found;
}

int dataReaderCommand(UxPackageLoader::Package& package, Tcl_Interp* interp, const char** argv) {
  void* reader = symbolOrError(interp, "dataReader", package, argv[2]);
  if (!reader) return TCL_ERROR;
  UxResource::registerReader(argv[1], reinterpret_cast<UxDataReader>(reader));
  package.contentTypes.push_back(argv[1]);
  return TCL_OK;
}

int latticeCreatorCommand(UxPackageLoader::Package& package, Tcl_Interp* interp,
                          const char** argv) {
  if (std::strcmp(argv[1], "ondisk") != 0) {
    Tcl_VaSetResult(interp, "latticeCreator: unknown kind \"%s\": expected ondisk", argv[1]);
    return TCL_ERROR;
  }
  void* creator = symbolOrError(interp, "latticeCreator", package, argv[2]);
  if (!creator) return TCL_ERROR;
  UxPackageLoader::getTheLoader()->setLatticeCreator(argv[1],
                                                     reinterpret_cast<UxLatticeCreator>(creator));
  return TCL_OK;
}

// The type record comes from the package's static initialisation; a name
// without a record is a packaging mistake worth a word, not a failed load.
int moduleTypeCommand(UxPackageLoader::Package& package, Tcl_Interp*, const char** argv) {
  package.moduleTypes.push_back(argv[1]);
  if (!TbTypeInfo::fromName(argv[1]))
    UxMessage::getTheMsg()->printf("package %s: module type \"%s\" is not registered",
                                   package.name.c_str(), argv[1]);
  return TCL_OK;
}

const ResourceCommand kResourceCommands[] = {
    {"dataReader", 2, "CONTENTTYPE SYMBOL", dataReaderCommand},
    {"latticeCreator", 2, "ondisk SYMBOL", latticeCreatorCommand},
    {"moduleType", 1, "TYPENAME", moduleTypeCommand},
};

int runResourceCommand(ClientData clientData, Tcl_Interp* interp, int argc, const char** argv) {
  const auto* command = static_cast<const ResourceCommand*>(clientData);
  if (argc - 1 != command->numArgs) return usageError(interp, command->name, command->usage);
  UxPackageLoader::Package* package = UxPackageLoader::getTheLoader()->packageBeingLoaded();
  if (!package) {
    Tcl_VaSetResult(interp, "%s: only a package's resource file may use this command",
                    command->name);
    return TCL_ERROR;
  }
  return command->handler(*package, interp, argv);
}

}  // namespace

void UxPackageLoader::createResourceCommands(Tcl_Interp* interp) {
  for (const ResourceCommand& command : kResourceCommands) {
    Tcl_CmdInfo existing;
    if (Tcl_GetCommandInfo(interp, command.name, &existing)) continue;
    Tcl_CreateCommand(interp, command.name, runResourceCommand,
                      const_cast<ResourceCommand*>(&command), nullptr);
  }
}
