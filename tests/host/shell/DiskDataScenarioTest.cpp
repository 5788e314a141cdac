// The disk-data package loaded by the real shell through dlopen, driven by
// Tcl scripts as a user would: create, write, reopen, read at subsamplings.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KorinProcess.h"
#include "support/TempDir.h"

namespace {

// A 64 x 48 x 20 int16 ramp, x + 2y + 3z - 100, written into a new on-disk
// lattice and read back whole and at subsamplings 2 and 8 after a reload.
TEST(DiskDataScenario, HookCreatesWritesReopensAndReadsCoarse) {
  TempDir dir;
  std::vector<int16_t> ramp;
  for (int z = 0; z < 20; ++z)
    for (int y = 0; y < 48; ++y)
      for (int x = 0; x < 64; ++x) ramp.push_back(static_cast<int16_t>(x + 2 * y + 3 * z - 100));
  writeWholeFile(dir.file("ramp.raw"), std::string(reinterpret_cast<const char*>(ramp.data()), ramp.size() * 2));
  const ShellRun run = KorinProcess().withPackagesIn("").runScript(
      "answer file " + dir.file("ramp.km") + "\n"
      "set d [newLattice -ondisk 1 int16 64 48 20 0 63 0 47 0 19]\n"
      "puts \"$d [$d getDims] [$d getPrimType] [$d isWritable]\"\n"
      "$d writeBox " + dir.file("ramp.raw") + " 0 0 0 64 48 20\n"
      "remove $d\n"
      "set e [load " + dir.file("ramp.km") + "]\n"
      "puts \"$e [$e getBoundingBox] [$e getFormatName] [$e getLoadCmd]\"\n"
      "$e readBox " + dir.file("full.raw") + " 0 0 0 64 48 20\n"
      "$e readBox " + dir.file("half.raw") + " 0 0 0 32 24 10 2 2 2\n"
      "$e readBox " + dir.file("eighth.raw") + " 0 0 0 8 6 2 8 8 8\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "file dialog \"Create Large Disk Data\" (save)\nanswer: " + dir.file("ramp.km") +
                        " (script)\nramp.km 64 48 20 int16 1\nramp.km 0 63 0 47 0 19 Korin DiskData load " +
                        dir.file("ramp.km") + "\n");
  EXPECT_EQ(readWholeFile(dir.file("full.raw")), readWholeFile(dir.file("ramp.raw")));
  // At subsampling 2, sample (1, 1, 1) is the mean of x, y and z 2..3: 2.5 + 5 + 7.5 - 100.
  int16_t mean = 0;
  std::memcpy(&mean, readWholeFile(dir.file("half.raw")).data() + ((1 * 24 + 1) * 32 + 1) * 2, 2);
  EXPECT_EQ(mean, -85);
  EXPECT_EQ(sizeOfFile(dir.file("eighth.raw")), 192);
}

TEST(DiskDataScenario, CreateDiskDataCommandAndItsRefusals) {
  TempDir dir;
  const std::string make = "set d [newLattice -ondisk 1 uint8 8 8 8]\n";
  const ShellRun run = KorinProcess().withPackagesIn("").runScript(
      "answer file " + dir.file("first.km") + "\n" + make +
      "puts [$d createDiskData " + dir.file("second.km") + " " + dir.file("blocks") + " 64 64 32 1 uint16]\n"
      "puts [second.km getPrimType]\n"
      "puts [$d createDiskData " + dir.file("third.km") + " " + dir.file("third.km") + " 4 4 4 2 5]\n"
      "puts [third.km getPrimType]\n"
      "puts [catch {$d createDiskData " + dir.file("x.km") + " " + dir.file("x") + " 4 4 4 1 7} r]<$r>\n"
      "puts [catch {$d createDiskData " + dir.file("x.km") + " " + dir.file("x") + " 4 4 4 1} r]<$r>\n"
      "puts [catch {$d createDiskData " + dir.file("x.km") + " " + dir.file("x") + " 4 4 4 0 uint8} r]<$r>\n"
      "puts [catch {$d createDiskData " + dir.file("x.km") + " " + dir.file("x") + " 4 -1 4 1 uint8} r]<$r>\n"
      "puts [catch {$d frobnicate} r]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("second.km\nuint16\nthird.km\nuint16\n1<>\n1<wrong # args for \"createDiskData\">\n"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("UxDiskData::create ():nDataVar <= 0"), std::string::npos);
  EXPECT_NE(run.out.find("Error: can't create disk data of 4 x -1 x 4 samples of type 0\n1<>"), std::string::npos);
  EXPECT_TRUE(fileExists(dir.file("blocks-0000.dat")));
  EXPECT_FALSE(fileExists(dir.file("x.km")));
}

TEST(DiskDataScenario, AMovedDescriptionFindsItsBlocksAndAMissingOneIsReported) {
  TempDir dir;
  const ShellRun run = KorinProcess().withPackagesIn("").runScript(
      "answer file " + dir.file("a.km") + "\n"
      "set d [newLattice -ondisk 1 uint8 8 8 8]\n"
      "$d createDiskData " + dir.file("moving.km") + " " + dir.file("store") + " 16 16 16 1 uint8\n"
      "file rename " + dir.file("moving.km") + " " + dir.file("moved.km") + "\n"
      "puts [[load " + dir.file("moved.km") + "] getDims]\n"
      "file delete " + dir.file("store-SUPR.dat") + "\n"
      "puts [catch {load " + dir.file("moved.km") + "}]\n"
      "set m [load " + dir.file("a.km") + "]\n"
      "puts [catch {$m readBox " + dir.file("r.raw") + " 0 0 0 2 2 2 3 3 3}]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("16 16 16\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("Error opening " + dir.file("moved.km") + " or one of it's data files\n"), std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("only 2^n subsampling allowed"), std::string::npos) << run.out;
}

TEST(DiskDataScenario, TheFileDialogCancelledCreatesNothing) {
  const ShellRun run =
      KorinProcess().withPackagesIn("").runScript("puts [catch {newLattice -ondisk 1 uint8 8 8 8}]\nputs [list]\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("1\n\n"), std::string::npos) << run.out;
}

}  // namespace
