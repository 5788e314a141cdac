// The tiled converter replacing an existing store, under every fault the file
// seam can give and a crash at every step: the output is always either the
// old store, byte for byte, or the whole new one, and a result of 1 means the
// new one.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "host/codecs/SoDataCompressors.h"
#include "host/formats/UxBrixConverter.h"
#include "support/ConsoleCapture.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace {

using Tree = std::map<std::string, std::string>;  // relative path -> content ("/" for a folder)

const int kDims[3] = {24, 20, 12};

Tree treeOf(const std::string& root) {
  Tree tree;
  std::error_code ignored;
  if (!std::filesystem::exists(root)) return tree;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root, ignored)) {
    const std::string name = entry.path().string().substr(root.size());
    tree[name] = entry.is_directory() ? "/" : readWholeFile(entry.path().string());
  }
  return tree;
}

std::string volume(unsigned seed) {
  std::mt19937 noise(seed);
  std::string bytes(kDims[0] * kDims[1] * kDims[2] * 2, '\0');
  for (char& byte : bytes) byte = static_cast<char>(noise() % 7);  // compressible, some chunks zero
  return bytes;
}

class LdaReplacementFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    initDataCompressors();
    writeWholeFile(dir.file("old.raw"), std::string(volume(1).size(), '\x03'));
    writeWholeFile(dir.file("in.raw"), volume(2));
    std::filesystem::create_directory(dir.file("reference"));
    ASSERT_EQ(convert("old.raw", dir.file("reference/out.lda")), 1);
    oldTree = treeOf(dir.file("reference/out.lda"));
    std::filesystem::remove_all(dir.file("reference/out.lda"));
    ASSERT_EQ(convert("in.raw", dir.file("reference/out.lda")), 1);
    newTree = treeOf(dir.file("reference/out.lda"));
  }

  int convert(const char* input, const std::string& output) {
    const std::string path = dir.file(input);
    TbDArray<const char*> files;
    files.append(path.c_str());
    UxBatchAnswers::push(UxBatchAnswers::kindFromName("warning"), {"Yes"});
    return UxBrixConverter::convertToLDA(files, TbFilename(output.c_str()), TbBox3f(0, 1, 0, 1, 0, 1),
                                         TbVec3i(kDims[0], kDims[1], kDims[2]), TbPrimType::UINT16, true, 2, 0,
                                         false, true, 8, 0, 1, "zstd");
  }

  // The output as the old store, whole, in a folder holding nothing else of ours.
  void putOldStore() {
    std::filesystem::remove_all(dir.file("work"));
    std::filesystem::create_directories(dir.file("work/out.lda"));
    for (const auto& [name, content] : oldTree) {
      const std::string path = dir.file("work/out.lda") + name;
      if (content == "/") std::filesystem::create_directories(path);
      else writeWholeFile(path, content);
    }
  }

  int convertIntoWork() { return convert("in.raw", dir.file("work/out.lda")); }

  // The calls of each op a replacement makes when nothing fails.
  bool countCalls(int* total) {
    putOldStore();
    FileFaults counting;
    const bool done = convertIntoWork() == 1;
    for (int op = 0; op < FileFaults::NUM_OPS; ++op) total[op] = counting.calls(FileFaults::Op(op));
    return done;
  }

  ConsoleCapture console;
  TempDir dir{"/dev/shm"};  // thousands of files made and removed: cheap in memory
  Tree oldTree, newTree;
};

TEST_F(LdaReplacementFaults, ACrashAtAnyStepLeavesTheOldStoreOrTheNewOneWhole) {
  int total[FileFaults::NUM_OPS];
  ASSERT_TRUE(countCalls(total));
  ASSERT_EQ(treeOf(dir.file("work/out.lda")), newTree);
  int sawOld = 0, sawNew = 0;
  for (FileFaults::Loss loss : {FileFaults::LOSE_ALL, FileFaults::LOSE_NONE, FileFaults::LOSE_EVEN})
    for (FileFaults::Op op : {FileFaults::SYNC, FileFaults::RENAME, FileFaults::WRITE, FileFaults::FOLDER})
      for (int n = 1; n <= total[op] + 1; ++n) {
        putOldStore();
        {
          FileFaults faults(dir.file("work"));
          faults.crashAt(op, n, loss);
          convertIntoWork();
          faults.crashNow(loss);
        }
        const Tree after = treeOf(dir.file("work/out.lda"));
        const bool isOld = after == oldTree, isNew = after == newTree;
        EXPECT_TRUE(isOld || isNew) << "crash at call " << n << " of op " << op << ", loss " << loss;
        sawOld += isOld;
        sawNew += isNew;
      }
  EXPECT_GT(sawOld, 0);
  EXPECT_GT(sawNew, 0);
}

TEST_F(LdaReplacementFaults, EveryFailingCallGivesTheOldStoreOrSuccessWithTheNewOne) {
  int total[FileFaults::NUM_OPS];
  ASSERT_TRUE(countCalls(total));
  for (int op = 0; op < FileFaults::NUM_OPS; ++op)
    for (FileFaults::Failure how : {FileFaults::IO_ERROR, FileFaults::NO_SPACE, FileFaults::SHORT_COUNT})
      for (bool persistent : {false, true})
        for (int n = 1; n <= total[op]; ++n) {
          putOldStore();
          console.lines.clear();
          int result;
          {
            FileFaults faults;
            faults.failCall(FileFaults::Op(op), n, how, persistent);
            result = convertIntoWork();
          }
          const std::string trace = "call " + std::to_string(n) + " of op " + std::to_string(op) + ", failure " +
                                    std::to_string(how) + (persistent ? ", persistent" : ", once");
          const Tree after = treeOf(dir.file("work/out.lda"));
          if (result == 1) {
            EXPECT_EQ(after, newTree) << trace;
            continue;
          }
          EXPECT_EQ(result, 0) << trace;
          EXPECT_TRUE(after == oldTree) << trace;
          EXPECT_FALSE(console.lines.empty()) << trace << ": a failure says why";
          // Only a removal that keeps failing may leave the temporary folder behind.
          const bool removalFails = persistent && (op == FileFaults::UNLINK || op == FileFaults::FOLDER ||
                                                   op == FileFaults::STAT);
          if (!removalFails) {
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.file("work")),
                                    std::filesystem::directory_iterator()), 1)
                << trace << ": nothing beside the output";
          }
        }
}

}  // namespace
