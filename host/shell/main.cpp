// korin: the host's command shell. See docs/korin-shell.md.
#include <unistd.h>

#include <QApplication>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/base/TbMemoryBudget.h"
#include "host/codecs/SoDataCompressors.h"
#include "host/lda/LdaFormatSetting.h"
#include "host/console/UxWorkArea.h"
#include "host/dialogs/UxQuestionAnswerer.h"
#include "host/shell/KorinShell.h"
#include "host/shell/QtEnvironment.h"

namespace {

const char kUsage[] =
    "usage: korin [-q] [--memory SIZE] [--ome-zarr 0.4|0.5] [FILE.tcl [ARG ...]]\n"
    "       korin [-q] [--memory SIZE] [--ome-zarr 0.4|0.5] -e SCRIPT [ARG ...]\n"
    "Without a file the script is read from standard input, or typed at a\n"
    "prompt when standard input is a terminal. -q shows no progress of long\n"
    "work; console messages still appear. --memory sets the memory budget of\n"
    "the host's own large work, such as the tiled converter (512M, 2G; 1G\n"
    "unless given). --ome-zarr sets the version of the lda stores the tiled\n"
    "converter writes (0.4 unless given; 0.5 is Zarr version 3, sharded).\n";

enum class Source { INTERACTIVE, STDIN, FILE, STRING };

struct Options {
  Source source = Source::STDIN;
  std::string text;  // the file name or the script
  std::string argv0;
  std::vector<std::string> args;
  bool quiet = false;
};

// Returns 0 to go on, else the exit status (usage asked for or misused).
int parseOptions(int argc, char** argv, Options& options) {
  options.argv0 = argv[0];
  int first = 1;
  if (argc > first && (std::strcmp(argv[first], "-h") == 0 || std::strcmp(argv[first], "--help") == 0)) {
    std::fputs(kUsage, stdout);
    return -1;
  }
  for (;; ) {
    if (argc > first && std::strcmp(argv[first], "-q") == 0) {
      options.quiet = true;
      ++first;
    } else if (argc > first && std::strcmp(argv[first], "--memory") == 0) {
      int64_t bytes = 0;
      if (argc < first + 2 || !TbMemoryBudget::parse(argv[first + 1], bytes)) {
        std::fprintf(stderr, "korin: --memory takes a size of 1M or more, such as 512M or 2G\n");
        return 2;
      }
      TbMemoryBudget::set(bytes);
      first += 2;
    } else if (argc > first && std::strcmp(argv[first], "--ome-zarr") == 0) {
      int version = 0;
      if (argc < first + 2 || !LdaFormatSetting::parse(argv[first + 1], version)) {
        std::fprintf(stderr, "korin: --ome-zarr takes 0.4 or 0.5\n");
        return 2;
      }
      LdaFormatSetting::set(version);
      first += 2;
    } else {
      break;
    }
  }
  if (argc > first && std::strcmp(argv[first], "-e") == 0) {
    if (argc < first + 2) {
      std::fputs(kUsage, stderr);
      return 2;
    }
    options.source = Source::STRING;
    options.text = argv[first + 1];
    first += 2;
  } else if (argc > first) {
    options.source = Source::FILE;
    options.text = options.argv0 = argv[first];
    ++first;
  } else if (isatty(STDIN_FILENO)) {
    options.source = Source::INTERACTIVE;
  }
  options.args.assign(argv + first, argv + argc);
  return 0;
}

int run(KorinShell& shell, const Options& options) {
  shell.setScriptArguments(options.argv0, options.args);
  shell.loadPackages();
  switch (options.source) {
    case Source::FILE: return shell.runFile(options.text.c_str());
    case Source::STRING: return shell.runScript(options.text.c_str());
    case Source::INTERACTIVE: return shell.runInteractive();
    case Source::STDIN: break;
  }
  return shell.runStdin();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const int early = parseOptions(argc, argv, options);
  if (early) return early < 0 ? 0 : early;

  if (options.quiet) UxWorkArea::getTheWorkArea()->setDisplay(UxWorkArea::QUIET);
  prepareQtEnvironment();
  // Qt would take options such as -style out of the script's arguments.
  static int qtArgc = 1;
  static char* qtArgv[] = {argv[0], nullptr};
  auto* application = new QApplication(qtArgc, qtArgv);
  // Question boxes are answered from the script in batch runs, never waited on.
  UxQuestionAnswerer::install();
  // The data compressors a package may list exist before any package loads.
  initDataCompressors();

  int status = 0;
  {
    KorinShell shell(argv[0], [application] { delete application; });
    status = run(shell, options);
  }
  delete application;
  Tcl_Finalize();
  return status;
}
