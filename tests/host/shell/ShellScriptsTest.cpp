// How scripts reach the shell and how runs end.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "KorinProcess.h"

namespace {

// A script file (when given) with its arguments, or the arguments alone with
// standard input: the exit status, standard output and how standard error
// begins (empty when nothing is given).
TEST(ShellScripts, RunsEndWithTheirStatusAndOutput) {
  const struct {
    const char* script;  // nullptr: none
    std::vector<std::string> args;
    const char* input;
    int status;
    const char* out;
    const char* err;
  } cases[] = {
      {"puts [file tail $argv0]\nputs $argc\nputs [lindex $argv 1]\n", {"one", "two words"}, "", 0,
       "script.tcl\n2\ntwo words\n", ""},
      {nullptr, {"-e", "puts [llength $argv]; puts $argv", "a", "b c"}, "", 0, "2\na {b c}\n", ""},
      {nullptr, {}, "set x 6\nputs [expr {$x * 7}]\n", 0, "42\n", ""},
      {"puts before\nerror boom\nputs after\n", {}, "", 1, "before\n", "boom\n    while executing\n\"error boom\""},
      {nullptr, {"-e", "puts -nonewline kept; exit 3; puts never"}, "", 3, "kept", ""},
      {nullptr, {"-e", "exit"}, "", 0, "", ""},
      {nullptr, {"-e", "exit soon"}, "", 1, "", "exit: bad CODE \"soon\": expected an integer"},
      {nullptr, {}, "puts one\nreturn\nputs two\n", 0, "one\n", ""},
      {nullptr, {"-e"}, "", 2, "", "usage: korin [-q] [--memory SIZE] [--ome-zarr 0.4|0.5] [FILE.tcl [ARG ...]]\n"},
      {nullptr, {"--memory", "2G", "-e", "puts [memoryBudget]; puts [memoryBudget 512m]"}, "", 0,
       "2147483648\n536870912\n", ""},
      {nullptr, {"--memory", "12X", "-e", "exit"}, "", 2, "", "korin: --memory takes a size of 1M or more"},
      {nullptr, {"-e", "memoryBudget 100"}, "", 1, "", "memoryBudget: \"100\" is not a size of 1M or more"},
      {nullptr, {"--ome-zarr", "0.5", "-e", "puts [omeZarrVersion]; puts [omeZarrVersion 0.4]"}, "", 0, "0.5\n0.4\n", ""},
      {nullptr, {"-e", "omeZarrVersion 3"}, "", 1, "", "omeZarrVersion: \"3\" is not 0.4 or 0.5"},
      {nullptr, {"/nonexistent/script.tcl"}, "", 1, "", "couldn't read file \"/nonexistent/script.tcl\""},
      {"puts first\ncatch {load /nonexistent/a.km}\nputs -nonewline second\nputs \" line\"\n"
       "catch {load /nonexistent/b.km}\nputs stderr aside\nputs last\n",
       {}, "", 0, "first\nload: cannot read /nonexistent/a.km\nsecond line\nload: cannot read /nonexistent/b.km\nlast\n",
       "aside\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script ? c.script : c.args.empty() ? c.input : c.args[0]);
    KorinProcess korin;
    korin.input(c.input);
    const ShellRun run = c.script ? korin.runScript(c.script, c.args) : korin.run(c.args);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(run.err.substr(0, std::max<size_t>(std::string(c.err).size(), 1)), c.err);
  }
  const ShellRun help = KorinProcess().run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: korin [-q] [--memory SIZE] [--ome-zarr 0.4|0.5] [FILE.tcl [ARG ...]]\n", 0), 0u) << help.out;
}

TEST(ShellScripts, RunsWithoutADisplayAndLeavesUserSettingsAlone) {
  const ShellRun run = KorinProcess()
                           .setEnv("QT_LOGGING_RULES", "mine")
                           .run({"-e", "puts $env(QT_QPA_PLATFORM); puts $env(QT_LOGGING_RULES); "
                                       "puts [file isdirectory $env(XDG_RUNTIME_DIR)]"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "offscreen\nmine\n1\n");
}

}  // namespace
