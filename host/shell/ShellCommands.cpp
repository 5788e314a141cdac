#include "host/shell/ShellCommands.h"

#include <cstring>
#include <string>
#include <vector>

#include "host/base/TbMemoryBudget.h"
#include "host/lda/LdaFormatSetting.h"
#include "host/lda/LdaJob.h"
#include "host/types/TbTypeInfo.h"
#include "host/dialogs/UxBatchAnswers.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxData.h"
#include "host/objects/UxObjectPool.h"
#include "host/packages/UxPackageLoader.h"
#include "host/packages/UxResource.h"
#include "host/shell/KorinShell.h"
#include "host/shell/NewLatticeCommand.h"

namespace {

typedef int (*ShellHandler)(KorinShell& shell, Tcl_Interp* interp, int argc, const char** argv);

// Two of the shell's names are also Tcl's own commands. Tcl's command stays
// reachable as builtin, and takes over for the calls that cannot mean the
// shell's: more words than the shell's command takes, or (for list) any call
// from inside a procedure, where Tcl's library writes [list] for "empty".
struct ShellCommand {
  const char* name;
  int minArgs;
  int maxArgs;
  const char* usage;
  ShellHandler handler;
  const char* builtin;
  bool builtinInProcedures;
};

struct Binding {
  KorinShell* shell;
  const ShellCommand* command;
};

Tcl_Obj* pair(const char* first, const char* second) {
  Tcl_Obj* words[2] = {Tcl_NewStringObj(first, -1), Tcl_NewStringObj(second, -1)};
  return Tcl_NewListObj(2, words);
}

int loadCommand(KorinShell&, Tcl_Interp* interp, int, const char** argv) {
  UxData* object = UxResource::loadData(argv[1], false);
  if (!object) {
    Tcl_VaSetResult(interp, "load: cannot load %s", argv[1]);
    return TCL_ERROR;
  }
  Tcl_VaSetResult(interp, "%s", UxObjectPool::getThePool()->nameOf(object));
  return TCL_OK;
}

int createCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  const TbTypeInfo* type = TbTypeInfo::fromName(argv[1]);
  if (!type) {
    Tcl_VaSetResult(interp, "create: unknown type \"%s\"", argv[1]);
    return TCL_ERROR;
  }
  TbTypedObject* made = type->createInstance();
  if (made && !made->isOfType(UxObject::getClassTypeId())) {
    delete made;
    made = nullptr;
  }
  if (!made) {
    Tcl_VaSetResult(interp, "create: type \"%s\" cannot be created", argv[1]);
    return TCL_ERROR;
  }
  const char* wanted = argc > 2 ? argv[2] : type->getName();
  Tcl_VaSetResult(interp, "%s", UxObjectPool::getThePool()->add(static_cast<UxObject*>(made), wanted));
  return TCL_OK;
}

int removeCommand(KorinShell&, Tcl_Interp* interp, int, const char** argv) {
  if (UxObjectPool::getThePool()->remove(argv[1])) return TCL_OK;
  Tcl_VaSetResult(interp, "remove: no object \"%s\"", argv[1]);
  return TCL_ERROR;
}

int listCommand(KorinShell&, Tcl_Interp* interp, int, const char**) {
  UxObjectPool* pool = UxObjectPool::getThePool();
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < pool->size(); ++i)
    Tcl_ListObjAppendElement(nullptr, list, pair(pool->getName(i), pool->get(i)->getTypeId()->getName()));
  Tcl_SetObjResult(interp, list);
  return TCL_OK;
}

int packagesCommand(KorinShell&, Tcl_Interp* interp, int, const char**) {
  UxPackageLoader* loader = UxPackageLoader::getTheLoader();
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < loader->numPackages(); ++i) {
    const UxPackageLoader::Package& package = loader->getPackage(i);
    Tcl_ListObjAppendElement(nullptr, list, pair(package.name.c_str(), package.buildInfo.c_str()));
  }
  Tcl_SetObjResult(interp, list);
  return TCL_OK;
}

// An answer without words is allowed: a file dialog takes it as cancel, a
// question as its default.
int answerCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  const int kind = UxBatchAnswers::kindFromName(argv[1]);
  if (kind < 0) {
    Tcl_VaSetResult(interp,
                    "answer: unknown kind \"%s\": expected warning, file, raw, image or question",
                    argv[1]);
    return TCL_ERROR;
  }
  UxBatchAnswers::push(kind, std::vector<std::string>(argv + 2, argv + argc));
  return TCL_OK;
}

// Without a word, the budget in use; with one, the new budget.
int memoryBudgetCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  int64_t bytes = TbMemoryBudget::bytes();
  if (argc > 1 && !TbMemoryBudget::parse(argv[1], bytes)) {
    Tcl_VaSetResult(interp, "memoryBudget: \"%s\" is not a size of 1M or more (such as 512M, 2G)", argv[1]);
    return TCL_ERROR;
  }
  TbMemoryBudget::set(bytes);
  Tcl_VaSetResult(interp, "%lld", static_cast<long long>(bytes));
  return TCL_OK;
}

// Without a word, the version in use; with one, the new version.
int omeZarrVersionCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  int version = LdaFormatSetting::version();
  if (argc > 1 && !LdaFormatSetting::parse(argv[1], version)) {
    Tcl_VaSetResult(interp, "omeZarrVersion: \"%s\" is not 0.4 or 0.5", argv[1]);
    return TCL_ERROR;
  }
  LdaFormatSetting::set(version);
  Tcl_VaSetResult(interp, "%s", LdaFormatSetting::name(version));
  return TCL_OK;
}

// The steps of a tiled conversion spread over processes (see host/lda/LdaJob.h).
int ldaJobCommand(KorinShell&, Tcl_Interp* interp, int argc, const char** argv) {
  const std::string step = argv[1];
  const bool replace = argc > 3 && std::strcmp(argv[argc - 1], "replace") == 0;
  int pass = 0, column = 0;
  bool done;
  if (step == "prepare" && argc == 4) {
    done = ldaJobPrepare(argv[2], argv[3]);
  } else if (step == "column" && argc == 6) {
    if (!parseIntWord(interp, "ldaJob", "PASS", argv[4], &pass) || !parseIntWord(interp, "ldaJob", "COLUMN", argv[5], &column))
      return TCL_ERROR;
    done = ldaJobColumn(argv[2], argv[3], pass, column);
  } else if ((step == "commit" || step == "run") && argc == 3 + (replace ? 1 : 0)) {
    done = step == "commit" ? ldaJobCommit(argv[2], replace) : ldaJobRun(argv[2], replace);
  } else {
    Tcl_VaSetResult(interp, "ldaJob: expected prepare JOB PLAN, column JOB PLAN PASS COLUMN, commit JOB ?replace? or run JOB ?replace?");
    return TCL_ERROR;
  }
  if (done) return TCL_OK;
  Tcl_VaSetResult(interp, "ldaJob: %s failed", argv[1]);
  return TCL_ERROR;
}

int exitCommand(KorinShell& shell, Tcl_Interp* interp, int argc, const char** argv) {
  int status = 0;
  if (argc > 1 && !parseIntWord(interp, "exit", "CODE", argv[1], &status)) return TCL_ERROR;
  shell.exitProcess(status);
}

const ShellCommand kShellCommands[] = {
    {"load", 1, 1, "FILE", loadCommand, "::korin::tclLoad", false},
    {"create", 1, 2, "TYPE ?NAME?", createCommand, nullptr, false},
    {"remove", 1, 1, "NAME", removeCommand, nullptr, false},
    {"list", 0, 0, "", listCommand, "::korin::tclList", true},
    {"packages", 0, 0, "", packagesCommand, nullptr, false},
    {"answer", 1, 1 << 20, "KIND ?WORD ...?", answerCommand, nullptr, false},
    {"newLattice", 6, 12, kNewLatticeUsage, newLatticeCommand, nullptr, false},
    {"memoryBudget", 0, 1, "?SIZE?", memoryBudgetCommand, nullptr, false},
    {"omeZarrVersion", 0, 1, "?0.4|0.5?", omeZarrVersionCommand, nullptr, false},
    {"ldaJob", 2, 5, "STEP JOB ?WORD ...?", ldaJobCommand, nullptr, false},
    {"exit", 0, 1, "?CODE?", exitCommand, nullptr, false},
};

bool insideProcedure(Tcl_Interp* interp) {
  Tcl_Obj* saved = Tcl_GetObjResult(interp);
  Tcl_IncrRefCount(saved);
  int level = 0;
  if (Tcl_EvalEx(interp, "::info level", -1, 0) == TCL_OK)
    Tcl_GetIntFromObj(nullptr, Tcl_GetObjResult(interp), &level);
  Tcl_SetObjResult(interp, saved);
  Tcl_DecrRefCount(saved);
  return level > 0;
}

bool belongsToBuiltin(const ShellCommand& command, Tcl_Interp* interp, int argc) {
  if (!command.builtin) return false;
  return argc - 1 > command.maxArgs || (command.builtinInProcedures && insideProcedure(interp));
}

int runBuiltin(const ShellCommand& command, Tcl_Interp* interp, int argc, const char** argv) {
  std::vector<Tcl_Obj*> words;
  words.push_back(Tcl_NewStringObj(command.builtin, -1));
  for (int i = 1; i < argc; ++i) words.push_back(Tcl_NewStringObj(argv[i], -1));
  for (Tcl_Obj* word : words) Tcl_IncrRefCount(word);
  const int status = Tcl_EvalObjv(interp, static_cast<int>(words.size()), words.data(), 0);
  for (Tcl_Obj* word : words) Tcl_DecrRefCount(word);
  return status;
}

int runShellCommand(ClientData clientData, Tcl_Interp* interp, int argc, const char** argv) {
  const auto* binding = static_cast<const Binding*>(clientData);
  const ShellCommand& command = *binding->command;
  if (belongsToBuiltin(command, interp, argc)) return runBuiltin(command, interp, argc, argv);
  if (!checkCommandArgs(interp, command.name, argc - 1, command.minArgs, command.maxArgs,
                        command.usage))
    return TCL_ERROR;
  return command.handler(*binding->shell, interp, argc, argv);
}

void forgetBinding(ClientData clientData) { delete static_cast<Binding*>(clientData); }

void keepBuiltin(Tcl_Interp* interp, const ShellCommand& command) {
  const std::string rename = std::string("namespace eval ::korin {}; rename ::") + command.name +
                             " " + command.builtin;
  Tcl_EvalEx(interp, rename.c_str(), -1, TCL_EVAL_GLOBAL);
  Tcl_ResetResult(interp);
}

}  // namespace

void createShellCommands(KorinShell& shell) {
  for (const ShellCommand& command : kShellCommands) {
    if (command.builtin) keepBuiltin(shell.interp(), command);
    Tcl_CreateCommand(shell.interp(), command.name, runShellCommand,
                      new Binding{&shell, &command}, forgetBinding);
  }
}
