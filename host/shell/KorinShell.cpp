#include "host/shell/KorinShell.h"

#include <cstdio>

#include "host/objects/UxObjectPool.h"
#include "host/packages/UxPackageLoader.h"
#include "host/console/UxWorkArea.h"
#include "host/shell/ObjectCommands.h"
#include "host/shell/PackageFolders.h"
#include "host/shell/ShellCommands.h"
#include "host/shell/StdioChannels.h"

KorinShell::KorinShell(const char* executable, std::function<void()> exitHook)
    : beforeExit(std::move(exitHook)) {
  Tcl_FindExecutable(executable);
  routeTclChannelsThroughStdio();
  tcl = Tcl_CreateInterp();
  // Without an installed init.tcl this fails; the core commands work anyway.
  Tcl_Init(tcl);
  Tcl_ResetResult(tcl);
  objectCommands.reset(new ObjectCommands(tcl));
  UxObjectPool::getThePool()->setObserver(objectCommands.get());
  createShellCommands(*this);
  UxWorkArea::installInterruptHandler();
}

KorinShell::~KorinShell() {
  finish();
  Tcl_DeleteInterp(tcl);
}

void KorinShell::loadPackages() {
  UxPackageLoader* loader = UxPackageLoader::getTheLoader();
  for (const std::string& folder : packageFolders()) loader->loadAllIn(tcl, folder.c_str());
}

void KorinShell::setScriptArguments(const std::string& argv0,
                                    const std::vector<std::string>& args) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (const std::string& arg : args)
    Tcl_ListObjAppendElement(nullptr, list, Tcl_NewStringObj(arg.c_str(), -1));
  Tcl_SetVar2Ex(tcl, "argv0", nullptr, Tcl_NewStringObj(argv0.c_str(), -1), TCL_GLOBAL_ONLY);
  Tcl_SetVar2Ex(tcl, "argv", nullptr, list, TCL_GLOBAL_ONLY);
  Tcl_SetVar2Ex(tcl, "argc", nullptr, Tcl_NewIntObj(static_cast<int>(args.size())),
                TCL_GLOBAL_ONLY);
}

void KorinShell::finish() {
  if (finished) return;
  finished = true;
  UxObjectPool* pool = UxObjectPool::getThePool();
  pool->removeAll();
  pool->setObserver(nullptr);
  UxPackageLoader::getTheLoader()->finishAll();
  std::fflush(stdout);
  std::fflush(stderr);
}

void KorinShell::exitProcess(int status) {
  finish();
  if (beforeExit) beforeExit();
  Tcl_Exit(status);
}
