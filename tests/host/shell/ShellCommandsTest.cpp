// The shell's own commands, without any package.
#include <gtest/gtest.h>

#include <string>

#include "KorinProcess.h"

namespace {

// Runs each command under catch and prints its message, one per line.
std::string messagesOf(const std::vector<std::string>& commands) {
  std::string script;
  for (const std::string& command : commands)
    script += "catch {" + command + "} message; puts $message\n";
  return script;
}

TEST(ShellCommands, WrongWordCountsAnswerWithTheUsage) {
  const ShellRun run = KorinProcess().runScript(messagesOf({
      "load",
      "create",
      "create A b c",
      "remove x y",
      "packages all",
      "answer",
      "newLattice -ondisk 1 uint8 4 4",
      "newLattice -ondisk 1 uint8 4 4 4 0 1",
      "exit 1 2",
  }));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "load: expected FILE\n"
            "create: expected TYPE ?NAME?\n"
            "create: expected TYPE ?NAME?\n"
            "remove: expected NAME\n"
            "packages: expected no arguments\n"
            "answer: expected KIND ?WORD ...?\n"
            "newLattice: expected -ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?\n"
            "newLattice: expected -ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?\n"
            "exit: expected ?CODE?\n");
}

TEST(ShellCommands, ListAndLoadLeaveTclsOwnMeaningsReachable) {
  const ShellRun run = KorinProcess().runScript(
      "proc emptyList {} { return [list] }\n"
      "puts <[list a {b c}]><[emptyList]><[namespace eval ::x {list}]>\n"
      "catch {load lib.so Prefix} message\n"
      "puts [string match {couldn't load file \"lib.so\"*} $message]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "<a {b c}><><>\n1\n");
}

TEST(ShellCommands, AnswerQueuesTheKnownKindsOnly) {
  const ShellRun run = KorinProcess().runScript(
      "answer warning \"Yes to All\"\n"
      "answer file /tmp/x.km\n"
      "answer question yes\n"
      "answer raw\n"
      "answer image a.png b.png\n"
      "puts queued\n"
      "answer dialog maybe\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "queued\n");
  EXPECT_EQ(run.err.substr(0, run.err.find('\n')),
            "answer: unknown kind \"dialog\": expected warning, file, raw, image or question");
}

TEST(ShellCommands, CreateNeedsARegisteredTypeWithAFactory) {
  const ShellRun run = KorinProcess().runScript(messagesOf({
      "create Nope",
      "create UxData",
      "create TbTypedObject mine",
  }));
  EXPECT_EQ(run.out,
            "create: unknown type \"Nope\"\n"
            "create: type \"UxData\" cannot be created\n"
            "create: type \"TbTypedObject\" cannot be created\n");
}

TEST(ShellCommands, AnEmptyShellHasNoObjectsAndNoPackages) {
  const ShellRun run = KorinProcess().runScript(
      "puts \"<[list]> <[packages]>\"\n" + messagesOf({"remove ghost", "load /nonexistent.km"}));
  EXPECT_EQ(run.out,
            "<> <>\n"
            "remove: no object \"ghost\"\n"
            "load: cannot read /nonexistent.km\n"
            "load: cannot load /nonexistent.km\n");
}

TEST(ShellCommands, NewLatticeNeedsAPackageThatOffersIt) {
  const ShellRun run = KorinProcess().runScript(messagesOf({
      "newLattice -ondisk 1 uint8 4 4 4",
      "newLattice -inmemory 1 uint8 4 4 4",
      "newLattice -ondisk one uint8 4 4 4",
      "newLattice -ondisk 1 uint8 4 4 4 0 1 0 1 0 high",
  }));
  EXPECT_EQ(run.out,
            "newLattice: no package offers on-disk lattices\n"
            "newLattice: unknown kind \"-inmemory\": expected -ondisk\n"
            "newLattice: bad NDATAVAR \"one\": expected an integer\n"
            "newLattice: bad zmax \"high\": expected a number\n");
}

}  // namespace
