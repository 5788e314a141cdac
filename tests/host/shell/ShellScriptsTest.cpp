// How scripts reach the shell and how runs end.
#include <gtest/gtest.h>

#include <string>

#include "KorinProcess.h"

namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

TEST(ShellScripts, AScriptFileGetsItsNameAndArguments) {
  KorinProcess korin;
  const ShellRun run = korin.runScript(
      "puts [file tail $argv0]\nputs $argc\nputs [lindex $argv 1]\n", {"one", "two words"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "script.tcl\n2\ntwo words\n");
  EXPECT_EQ(run.err, "");
}

TEST(ShellScripts, DashEEvaluatesItsArgumentWithTheRestAsArguments) {
  const ShellRun run = KorinProcess().run({"-e", "puts [llength $argv]; puts $argv", "a", "b c"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "2\na {b c}\n");
}

TEST(ShellScripts, WithoutArgumentsTheScriptComesFromStandardInput) {
  const ShellRun run = KorinProcess().input("set x 6\nputs [expr {$x * 7}]\n").run({});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "42\n");
}

TEST(ShellScripts, AFailingCommandStopsTheRunWithStatusOneAndItsTrace) {
  const ShellRun run = KorinProcess().runScript("puts before\nerror boom\nputs after\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "before\n");
  EXPECT_TRUE(startsWith(run.err, "boom\n    while executing\n\"error boom\"")) << run.err;
}

TEST(ShellScripts, ExitEndsTheRunWithItsCodeAfterWrittenOutput) {
  const ShellRun run = KorinProcess().run({"-e", "puts -nonewline kept; exit 3; puts never"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "kept");
  const ShellRun plain = KorinProcess().run({"-e", "exit"});
  EXPECT_EQ(plain.status, 0);
  const ShellRun bad = KorinProcess().run({"-e", "exit soon"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(startsWith(bad.err, "exit: bad CODE \"soon\": expected an integer")) << bad.err;
}

TEST(ShellScripts, ATopLevelReturnEndsTheScriptNormally) {
  const ShellRun run = KorinProcess().input("puts one\nreturn\nputs two\n").run({});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "one\n");
}

TEST(ShellScripts, MisuseOfTheCommandLineShowsTheUsage) {
  const ShellRun missing = KorinProcess().run({"-e"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_TRUE(startsWith(missing.err, "usage: korin [-q] [FILE.tcl [ARG ...]]\n")) << missing.err;
  const ShellRun help = KorinProcess().run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(startsWith(help.out, "usage: korin")) << help.out;
  const ShellRun absent = KorinProcess().run({"/nonexistent/script.tcl"});
  EXPECT_EQ(absent.status, 1);
  EXPECT_TRUE(startsWith(absent.err, "couldn't read file \"/nonexistent/script.tcl\"")) << absent.err;
}

TEST(ShellScripts, PutsAndConsoleMessagesKeepTheirOrder) {
  const ShellRun run = KorinProcess().runScript(
      "puts first\n"
      "catch {load /nonexistent/a.km}\n"
      "puts -nonewline second\n"
      "puts \" line\"\n"
      "catch {load /nonexistent/b.km}\n"
      "puts stderr aside\n"
      "puts last\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "first\nload: cannot read /nonexistent/a.km\nsecond line\n"
            "load: cannot read /nonexistent/b.km\nlast\n");
  EXPECT_EQ(run.err, "aside\n");
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
