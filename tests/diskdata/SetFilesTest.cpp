// What a set's files say and what is done when they do not add up: crafted
// descriptions and files refused with their messages, the check command, the
// notice for a set whose full resolution was never all written, a korin
// killed while it rebuilds coarse blocks, pipes and deep nesting, and the
// one-writer lock.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/ConsoleCapture.h"
#include "support/DiskDataOpen.h"
#include "support/LatticeOnDisk.h"
#include "support/ObjectCommandRunner.h"

extern char** environ;

namespace {

const int kDims[3] = {40, 20, 10};  // 2 x 2 x 3 blocks of 32 x 16 x 4 at full resolution
const float kBox[6] = {0, 1, 0, 1, 0, 1};

void makeSet(const std::string& name, int slicesWritten) {
  UxDiskData* data = UxDiskData::create(name.c_str(), nullptr, kDims, 2, TbPrimType::INT16, kBox);
  ASSERT_TRUE(data);
  std::vector<int16_t> samples(40 * 20 * 10 * 2, 5);
  const int origin[3] = {0, 0, 0}, size[3] = {40, 20, slicesWritten};
  ASSERT_EQ(data->latticeManager->putBlock(samples.data(), origin, size, origin, kDims), 1);
  data->updateAllLevels();
  data->unref();
}

TEST(SetFiles, FilesThatDoNotAddUpAreRefusedWithTheirMessage) {
  const struct {
    const char* parameter;  // a description value to change, or
    std::vector<int> values;
    const char* file;  // a file to replace with `bytes`
    std::string bytes;
    const char* message;  // after the name of the description or of the file
  } cases[] = {
      {"Blocking", {1073741824, 16, 4}, "", "", " describes blocks or a block count beyond the limits of a disk-data set"},
      {"Dims", {2147483647, 2147483647, 2147483647}, "", "", " describes blocks or a block count beyond the limits of a disk-data set"},
      {"nDataVar", {1000000}, "", "", " describes blocks or a block count beyond the limits of a disk-data set"},
      {"Blocking", {32, 0, 4}, "", "", " does not describe a lattice"},
      {"Dims", {40, -1, 10}, "", "", " does not describe a lattice"},
      {"primType", {5}, "", "", " does not describe a lattice"},
      {"", {}, "-SUPR.dat", "BLCK0002" + std::string(2, '\0'), " is not the valid-flag file of this set"},
      {"", {}, "-SUPR.dat", "BLCK0001" + std::string(3, '\0'), " is not the valid-flag file of this set"},
      {"", {}, "-0000.dat", std::string(8192 * 15 - 1, '\0'), " is shorter than the set needs"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    const std::string name = dir.file("c.km");
    makeSet(name, 10);
    std::unique_ptr<KorinMesh> mesh(KorinMesh::read(name.c_str()));
    if (*c.parameter) mesh->set(c.parameter, static_cast<int>(c.values.size()), c.values.data());
    if (*c.file) writeWholeFile(name + c.file, c.bytes);
    ConsoleCapture console;
    EXPECT_EQ(UxDiskData::readKorinMesh(mesh.get(), name.c_str()), 0) << c.message;
    EXPECT_TRUE(console.saw("Error: " + name + c.file + c.message)) << c.message;
  }
}

struct CheckResult {
  std::string dict;
  std::vector<std::string> console;
};

CheckResult check(const std::string& name) {
  UxDiskData* data = openDiskData(name);
  ConsoleCapture console;
  ObjectCommandRunner runner;
  EXPECT_EQ(runner.run(*data, {"d", "check"}), 0);
  UxObjectPool::getThePool()->remove(data);
  return {runner.result(), console.lines};
}

TEST(SetFiles, CheckReportsWhatIsMissingAndLoadNotices) {
  TempDir dir;
  const std::string name = dir.file("k.km");
  makeSet(name, 8);  // the last of the three block layers never written
  {
    ConsoleCapture console;
    UxObjectPool::getThePool()->remove(openDiskData(name));
    EXPECT_TRUE(console.saw("Notice: 4 of 12 full-resolution blocks of " + name +
                            " were never written; the set is incomplete"));
  }
  CheckResult partial = check(name);
  const std::string files = "files {" + name + "-0000.dat 122880 122880} validFlagFile {" + name + "-SUPR.dat 10 10}";
  EXPECT_EQ(partial.dict, files + " neverWrittenLevel0 4 outOfDate {1 0} intentRecord 0 complete 0");
  EXPECT_EQ(partial.console.back(), "  the set is incomplete");
  EXPECT_EQ(partial.console[3], "  full-resolution blocks never written: 4 of 12");

  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes to All"});
  makeSet(name, 10);
  writeWholeFile(name + "-INTN.dat", "BLCKINT1");  // a session ended before storing its flags
  EXPECT_EQ(check(name).dict, files + " neverWrittenLevel0 0 outOfDate {1 0} intentRecord 1 complete 1");
  writeWholeFile(name + "-INTN.dat", "no magic");
  EXPECT_EQ(check(name).dict, files + " neverWrittenLevel0 0 outOfDate {1 2} intentRecord 1 complete 0");
}

// korin rewrites a set whose levels were stored and is killed, at a few
// moments, while a coarse read rebuilds them.
TEST(SetFiles, KillNineDuringALevelRebuildLeavesNoStaleCoarseBlock) {
  TempDir dir;
  const std::string name = dir.file("kill.km"), raw = dir.file("new.raw");
  const int dims[3] = {512, 256, 128};
  UxDiskData* data = UxDiskData::create(name.c_str(), nullptr, dims, 1, TbPrimType::UINT16, kBox);
  data->updateAllLevels();
  data->unref();
  auto volume = ReferenceVolume<uint16_t>::generated(512, 256, 128);
  writeWholeFile(raw, std::string(reinterpret_cast<const char*>(volume.values.data()), volume.values.size() * 2));
  const std::string script = dir.file("rebuild.tcl"), marker = dir.file("rebuilding");
  writeWholeFile(script, "set d [load " + name + "]\n$d writeBox " + raw + " 0 0 0 512 256 128\n" +
                             "close [open " + marker + " w]\n$d readBox " + dir.file("half.raw") +
                             " 0 0 0 256 128 64 2 2 2\n");
  const std::string korin = std::string(KORIN_BUILD_DIR) + "/korin";
  setenv("KORIN_PACKAGE_PATH", KORIN_BUILD_DIR, 1);
  for (int delayMs : {0, 10, 40}) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    ::unlink(marker.c_str());
    char* argv[] = {const_cast<char*>(korin.c_str()), const_cast<char*>(script.c_str()), nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, korin.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    for (int waited = 0; !fileExists(marker) && waited < 20000; ++waited)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    UxDiskData* again = openDiskData(name);
    ASSERT_TRUE(again) << delayMs;
    EXPECT_EQ(LatticeOnDisk::staleCoarseBlocks<uint16_t>(*again->latticeManager), 0) << "killed after " << delayMs << " ms";
    again->updateAllLevels();  // the next run starts from stored levels again
    UxObjectPool::getThePool()->remove(again);
  }
}

}  // namespace

// Files no writer makes: pipes in place of a set's files, and a description
// nesting bundles 100,000 deep. Each is refused at once, naming the file.
TEST(SetFiles, CraftedFilesAreRefusedWithoutWaitingOrCrashing) {
  const struct {
    const char* file;  // "" for the description
    bool pipe;         // else the description nests bundles
    const char* message;
  } cases[] = {
      {"-SUPR.dat", true, " is not the valid-flag file of this set"},
      {"-0000.dat", true, " is shorter than the set needs"},
      {"-INTN.dat", true, " is not a regular file"},
      {"", true, ""},
      {"", false, ""},
  };
  for (const auto& c : cases) {
    TempDir dir;
    const std::string name = dir.file("c.km");
    makeSet(name, 10);
    const std::string path = name + c.file;
    if (c.pipe) {
      unlink(path.c_str());
      ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    } else {
      std::string text = readWholeFile(name);
      const size_t header = text.find('\n') + 1;
      std::string nesting;
      for (int i = 0; i < 100000; ++i) nesting += "bundle b\n";
      for (int i = 0; i < 100000; ++i) nesting += "end\n";
      writeWholeFile(name, text.insert(header, nesting));
    }
    ConsoleCapture console;
    EXPECT_EQ(openDiskData(name), nullptr) << path;
    if (*c.message) {
      EXPECT_TRUE(console.saw("Error: " + path + c.message)) << path;
    }
  }
}

// A set being written holds its writer lock: a second writer is refused before
// anything is touched; a reader opens it read-only and sees what is flagged.
TEST(SetFiles, OneWriterAtATime) {
  TempDir dir;
  const std::string name = dir.file("w.km");
  UxDiskData* writer = UxDiskData::create(name.c_str(), nullptr, kDims, 2, TbPrimType::INT16, kBox);
  ASSERT_TRUE(writer);
  {
    ConsoleCapture console;
    UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes to All"});
    EXPECT_EQ(UxDiskData::create(name.c_str(), nullptr, kDims, 2, TbPrimType::INT16, kBox), nullptr);
    EXPECT_TRUE(console.saw("Error: " + name + " is being written by another writer; it was left alone"));
    UxDiskData* reader = openDiskData(name);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->isWritable(), 0);
    EXPECT_TRUE(console.saw("Notice: " + name + " is being written by another writer; it is opened read-only"));
    UxObjectPool::getThePool()->remove(reader);
  }
  writer->unref();
  UxDiskData* after = openDiskData(name);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->isWritable(), 1);
  UxObjectPool::getThePool()->remove(after);
}
