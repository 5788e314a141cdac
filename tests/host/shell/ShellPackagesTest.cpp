// The shell with packages: finding and loading them, and the objects they
// bring, driven through the objects' own commands.
#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include <string>
#include <vector>

#include "KorinProcess.h"
#include "host/mesh/KorinMesh.h"
#include "support/TempDir.h"

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
    KorinProcess korin;
    const ShellRun run = (c.good ? korin.withTestPackages() : korin.withBrokenPackages()).run({"-e", c.script});
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_EQ(run.out, c.out);
  }
}

TEST(ShellPackages, CreatedObjectsAreCommandsUntilRemoved) {
  const ShellRun run = KorinProcess().withTestPackages().runScript(
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

TEST(ShellPackages, NewLatticeTakesDataFromFilesAndShowsASlice) {
  KorinProcess korin;
  korin.withTestPackages();
  std::string ramp;
  for (int i = 0; i < 8 * 6; ++i) ramp += static_cast<char>(i);
  const std::string in = korin.file("ramp.raw"), out = korin.file("back.raw"),
                    png = korin.file("slice.png");
  writeWholeFile(in, ramp);
  const ShellRun run = korin.runScript(
      "set v [newLattice -ondisk 1 uint8 8 6 3 0 8 0 6 0 3]\n"
      "puts $v\n"
      "puts [$v getBoundingBox]\n"
      "puts [$v writeBox " + in + " 0 0 1 8 6 1]\n"
      "puts [$v readBox " + out + " 0 0 1 8 6 1]\n"
      "puts [$v preview " + png + " z 1]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "MemoryVolume\n0 8 0 6 0 3\n48\n48\n8 6\nkorintestpkg: finished\n");
  EXPECT_EQ(readWholeFile(out), ramp);
  EXPECT_EQ(QImage(QString::fromStdString(png)).size(), QSize(8, 6));
}

TEST(ShellPackages, NewLatticeReportsALatticeThePackageDidNotMake) {
  const ShellRun run = KorinProcess().withTestPackages().run(
      {"-e", "newLattice -ondisk 1 complex 4 4 4"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.substr(0, run.err.find('\n')), "newLattice: the package made no lattice");
}

TEST(ShellPackages, LoadHandsTheFileToThePackagesReader) {
  KorinProcess korin;
  korin.withTestPackages();
  const std::string path = korin.file("cube.km");
  {
    KorinMesh mesh;
    const int dims[3] = {2, 2, 2};
    const unsigned char values[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    mesh.set("ContentType", "MemoryVolume");
    mesh.set("Dims", 3, dims);
    mesh.set("nDataVar", 1);
    mesh.set("primType", static_cast<int>(TbPrimType::UINT8));
    mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Data", TbPrimType::UINT8, 1, values);
    ASSERT_NE(mesh.write(path.c_str()), 0);
  }
  const std::string copy = korin.file("cube.raw");
  const ShellRun run = korin.runScript(
      "set v [load " + path + "]\n"
      "puts $v\n"
      "puts [load " + path + "]\n"
      "puts [$v getFormatName]\n"
      "puts [expr {[$v getLoadCmd] eq [list load " + path + "]}]\n"
      "$v readBox " + copy + " 1 1 1 1 1 1\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "cube.km\ncube2.km\nMemory volume\n1\nkorintestpkg: finished\n");
  EXPECT_EQ(readWholeFile(copy), std::string(1, '\x08'));
}

}  // namespace
