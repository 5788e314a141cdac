// The shell with packages: finding and loading them, and the objects they
// bring, driven through the objects' own commands.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KorinProcess.h"

namespace {

// Packages are listed with their build information, broken ones reported
// while the run goes on, and a package finishes last even when a script exits.
TEST(ShellPackages, PackagesLoadAndFinish) {
  const std::string broken = std::string(KORIN_BUILD_DIR) + "/testpackages-broken";
  const struct {
    bool good;
    const char* script;
    int status;
    std::string out;
  } cases[] = {
      {true, "puts [packages]", 0, "{korintestpkg |vendor|tests|product|korintestpkg}\nkorintestpkg: finished\n"},
      {true, "create MemoryVolume; puts made; exit 4", 4, "made\nkorintestpkg: finished\n"},
      {false, "puts [llength [packages]]", 0,
       "package korinbadrc: " + broken + "/korinbadrc.rc: dataReader: package \"korinbadrc\" has no symbol "
       "\"readNothing\"\npackage korinnoentry: " + broken +
           "/libkorinnoentry.so lacks the entry point \"korinpackage_korinnoentry_finish\"\n1\n"}};
  for (const auto& c : cases) {
    const char* folder = c.good ? "testpackages" : "testpackages-broken";
    const ShellRun run = KorinProcess().withPackagesIn(folder).run({"-e", c.script});
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_EQ(run.out, c.out);
  }
}

TEST(ShellPackages, CreatedObjectsAreCommandsUntilRemoved) {
  const ShellRun run = KorinProcess().withPackagesIn("testpackages").runScript(
      "puts [create MemoryVolume]\n"
      "puts [create MemoryVolume]\n"
      "puts [list]\n"
      "puts [MemoryVolume2 getDims]\n"
      "remove MemoryVolume\n"
      "puts <[info commands MemoryVolume]>\n"
      "puts [create MemoryVolume list]\n"
      "puts [list2 getLabel]\n"
      "puts [list2 setLabel renamed]\n"
      "puts <[info commands list2]>[renamed getTypeId]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "MemoryVolume\nMemoryVolume2\n{MemoryVolume MemoryVolume} {MemoryVolume2 MemoryVolume}\n"
            "4 4 4\n<>\nlist2\nlist2\nrenamed\n<>MemoryVolume\nkorintestpkg: finished\n");
}

TEST(ShellPackages, NewLatticeReportsALatticeThePackageDidNotMake) {
  const ShellRun run = KorinProcess().withPackagesIn("testpackages").run(
      {"-e", "newLattice -ondisk 1 complex 4 4 4"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.substr(0, run.err.find('\n')), "newLattice: the package made no lattice");
}

}  // namespace
