// The shell's own commands, without any package.
#include <gtest/gtest.h>

#include <string>

#include "KorinProcess.h"

namespace {

// Each command run under catch, its message printed: usages for wrong word
// counts, and the exact refusals.
TEST(ShellCommands, RefusalsAnswerWithTheirReason) {
  const std::pair<const char*, const char*> cases[] = {
      {"load", "load: expected FILE"},
      {"create", "create: expected TYPE ?NAME?"},
      {"create A b c", "create: expected TYPE ?NAME?"},
      {"remove x y", "remove: expected NAME"},
      {"packages all", "packages: expected no arguments"},
      {"answer", "answer: expected KIND ?WORD ...?"},
      {"newLattice -ondisk 1 uint8 4 4", "newLattice: expected -ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?"},
      {"newLattice -ondisk 1 uint8 4 4 4 0 1",
       "newLattice: expected -ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?"},
      {"exit 1 2", "exit: expected ?CODE?"},
      {"create Nope", "create: unknown type \"Nope\""},
      {"create UxData", "create: type \"UxData\" cannot be created"},
      {"create TbTypedObject mine", "create: type \"TbTypedObject\" cannot be created"},
      {"remove ghost", "remove: no object \"ghost\""},
      {"load /nonexistent.km", "load: cannot read /nonexistent.km\nload: cannot load /nonexistent.km"},
      {"newLattice -ondisk 1 uint8 4 4 4", "newLattice: no package offers on-disk lattices"},
      {"newLattice -inmemory 1 uint8 4 4 4", "newLattice: unknown kind \"-inmemory\": expected -ondisk"},
      {"newLattice -ondisk one uint8 4 4 4", "newLattice: bad NDATAVAR \"one\": expected an integer"},
      {"newLattice -ondisk 1 uint8 4 4 4 0 1 0 1 0 high", "newLattice: bad zmax \"high\": expected a number"},
      {"answer dialog maybe", "answer: unknown kind \"dialog\": expected warning, file, raw, image or question"}};
  std::string script = "puts \"<[list]> <[packages]>\"\n", expected = "<> <>\n";
  for (const auto& c : cases) {
    script += std::string("catch {") + c.first + "} message; puts $message\n";
    expected += std::string(c.second) + "\n";
  }
  const ShellRun run = KorinProcess().runScript(script);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, expected);
}

// list and load keep Tcl's own meanings; answer queues the known kinds.
TEST(ShellCommands, ListLoadAndAnswer) {
  const ShellRun run = KorinProcess().runScript(
      "proc emptyList {} { return [list] }\n"
      "puts <[list a {b c}]><[emptyList]><[namespace eval ::x {list}]>\n"
      "catch {load lib.so Prefix} message\n"
      "puts [string match {couldn't load file \"lib.so\"*} $message]\n"
      "answer warning \"Yes to All\"; answer file /tmp/x.km; answer question yes; answer raw; answer image a.png b.png\n"
      "puts queued\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "<a {b c}><><>\n1\nqueued\n");
}

}  // namespace
