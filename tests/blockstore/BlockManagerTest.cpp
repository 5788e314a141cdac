// The block file set against real files: formats, numbering across files,
// byte order, overwrite questions and failures at every file call.
#include "blockstore/BlockManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <vector>

#include "support/ConsoleCapture.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace {

std::vector<unsigned char> pattern(int bytes, int seed) {
  std::vector<unsigned char> data(static_cast<size_t>(bytes));
  for (int i = 0; i < bytes; ++i) data[i] = static_cast<unsigned char>((i * 7 + seed * 13) & 0xff);
  return data;
}

std::unique_ptr<BlockManager> makeSet(const std::string& name, int blockSize, int numBlocks,
                                      int elemSize = 1, int littleEndian = 1) {
  return std::unique_ptr<BlockManager>(
      BlockManager::create(name.c_str(), blockSize, numBlocks, elemSize, 0, littleEndian, 1));
}

TEST(BlockManagerFiles, ValidFlagFileLengthAndBitOrder) {
  TempDir dir;
  for (int blocks : {7, 8, 16}) {
    std::string name = dir.file("set" + std::to_string(blocks));
    auto set = makeSet(name, 64, blocks);
    ASSERT_TRUE(set);
    EXPECT_EQ(sizeOfFile(name + "-SUPR.dat"), blocks / 8 + 9);
  }
  std::string name = dir.file("flags");
  auto set = makeSet(name, 64, 20);
  auto block = pattern(64, 1);
  ASSERT_EQ(set->putBlock(block.data(), 13), 1);
  ASSERT_EQ(set->writeValids(), 1);
  std::string file = readWholeFile(name + "-SUPR.dat");
  ASSERT_EQ(file.size(), 20u / 8 + 9);
  EXPECT_EQ(file.substr(0, 8), "BLCK0001");
  EXPECT_EQ(static_cast<unsigned char>(file[9]), 1u << 5);  // block 13: bit 5 of bitmap byte 1
  for (size_t i = 8; i < file.size(); ++i)
    if (i != 9) {
      EXPECT_EQ(file[i], 0) << "byte " << i;
    }
}

// 8192-byte blocks, 1 GiB files: 131072 blocks a file. The files are sparse.
TEST(BlockManagerFiles, BlocksCrossIntoTheSecondFileAtTheGigabyte) {
  TempDir dir;
  std::string name = dir.file("big");
  auto set = makeSet(name, 8192, 131073);
  ASSERT_TRUE(set);
  EXPECT_EQ(set->blocksPerFile(), 131072);
  EXPECT_EQ(sizeOfFile(name + "-0000.dat"), 1073741824LL);
  EXPECT_EQ(sizeOfFile(name + "-0001.dat"), 8192);
  EXPECT_FALSE(fileExists(name + "-0002.dat"));

  FileFaults faults;
  auto last = pattern(8192, 3);
  auto next = pattern(8192, 4);
  ASSERT_EQ(set->putBlock(last.data(), 131071), 1);
  ASSERT_EQ(set->putBlock(next.data(), 131072), 1);
  ASSERT_EQ(faults.writes().size(), 2u);
  EXPECT_EQ(faults.writes()[0].file, name + "-0000.dat");
  EXPECT_EQ(faults.writes()[0].offset, 1073733632LL);
  EXPECT_EQ(faults.writes()[1].file, name + "-0001.dat");
  EXPECT_EQ(faults.writes()[1].offset, 0);

  std::vector<unsigned char> back(8192);
  ASSERT_EQ(set->getBlock(back.data(), 131071), 1);
  EXPECT_EQ(back, last);
  ASSERT_EQ(set->getBlock(back.data(), 131072), 1);
  EXPECT_EQ(back, next);
  EXPECT_EQ(sizeOfFile(name + "-0001.dat"), 8192);
}

TEST(BlockManagerFiles, RefusesSetsTheNumberingCannotName) {
  TempDir dir;
  ConsoleCapture console;
  std::string name = dir.file("many");
  // 10001 files of one block each.
  EXPECT_EQ(BlockManager::create(name.c_str(), 1024, 10001, 1, 1024, 1, 1), nullptr);
  EXPECT_EQ(BlockManager::create(name.c_str(), 2048, 4, 1, 1024, 1, 1), nullptr);
  EXPECT_EQ(BlockManager::create(name.c_str(), 0, 4, 1, 0, 1, 1), nullptr);
  EXPECT_FALSE(fileExists(name + "-SUPR.dat"));
  auto ok = std::unique_ptr<BlockManager>(BlockManager::create(name.c_str(), 1024, 10000, 1, 1024, 1, 1));
  EXPECT_TRUE(ok);
  EXPECT_TRUE(fileExists(name + "-9999.dat"));
}

// littleEndian 0 on this little-endian machine stores every element swapped.
TEST(BlockManagerData, BigEndianFilesRoundTripAndLeaveTheCallerBufferAlone) {
  TempDir dir;
  for (int elemSize : {2, 4, 8}) {
    std::string name = dir.file("be" + std::to_string(elemSize));
    auto set = makeSet(name, 64, 2, elemSize, arch_little_endian() ? 0 : 1);
    ASSERT_TRUE(set);
    auto block = pattern(64, elemSize);
    auto before = block;
    ASSERT_EQ(set->putBlock(block.data(), 1), 1);
    EXPECT_EQ(block, before) << "caller's buffer restored";
    std::string onDisk = readWholeFile(name + "-0000.dat").substr(64, 64);
    for (int w = 0; w < 64 / elemSize; ++w)
      for (int b = 0; b < elemSize; ++b)
        ASSERT_EQ(static_cast<unsigned char>(onDisk[w * elemSize + b]), before[w * elemSize + elemSize - 1 - b]);
    std::vector<unsigned char> back(64);
    ASSERT_EQ(set->getBlock(back.data(), 1), 1);
    EXPECT_EQ(back, before);
  }
}

TEST(BlockManagerData, BitmapReachesDiskOnlyThroughWriteValids) {
  TempDir dir;
  std::string name = dir.file("v");
  auto block = pattern(32, 1);
  {
    auto set = makeSet(name, 32, 12);
    set->putBlock(block.data(), 2);
    ASSERT_EQ(set->writeValids(), 1);
    set->putBlock(block.data(), 5);  // never stored
  }
  std::unique_ptr<BlockManager> again(BlockManager::open(name.c_str(), 32, 12, 1, 0, 1));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->writable, 1);
  EXPECT_TRUE(again->validFlag(2));
  EXPECT_FALSE(again->validFlag(5));
  // Nothing changed since the load: writeValids leaves the file alone.
  FileFaults faults;
  EXPECT_EQ(again->writeValids(), 1);
  EXPECT_EQ(faults.calls(FileFaults::WRITE), 0);
}

TEST(BlockManagerOpen, MissingValidFlagFileFailsWithoutAMessage) {
  TempDir dir;
  ConsoleCapture console;
  std::string name = dir.file("s");
  { auto set = makeSet(name, 32, 40); }
  ::unlink((name + "-SUPR.dat").c_str());
  EXPECT_EQ(BlockManager::open(name.c_str(), 32, 40, 1, 0, 1), nullptr);
  EXPECT_TRUE(console.lines.empty());
}

TEST(BlockManagerOverwrite, YesToAllAsksOnceNoLeavesEverythingUntouched) {
  TempDir dir;
  std::string name = dir.file("o");
  { auto set = makeSet(name, 16, 40); }  // three files: SUPR, 0000 (all blocks)
  writeWholeFile(name + "-0000.dat", std::string(640, 'x'));
  std::string oldFlags = readWholeFile(name + "-SUPR.dat");
  {
    ConsoleCapture console;
    UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});
    UxBatchAnswers::push(UxBatchAnswers::WARNING, {"No"});
    EXPECT_EQ(BlockManager::create(name.c_str(), 16, 40, 1, 0, 1, 0), nullptr);
    EXPECT_EQ(console.count("question: "), 2);
    EXPECT_TRUE(console.saw("question: " + name + "-SUPR.dat does exist. Should I overwrite it [No/Yes/Yes to All]"));
    EXPECT_EQ(readWholeFile(name + "-0000.dat"), std::string(640, 'x'));
    EXPECT_EQ(readWholeFile(name + "-SUPR.dat"), oldFlags);
  }
  {
    ConsoleCapture console;
    UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes to All"});
    std::unique_ptr<BlockManager> set(BlockManager::create(name.c_str(), 16, 40, 1, 0, 1, 0));
    ASSERT_TRUE(set);
    EXPECT_EQ(console.count("question: "), 1);
    EXPECT_TRUE(console.saw("answer: Yes to All (script)"));
    // An agreed overwrite leaves nothing of the old content.
    EXPECT_EQ(readWholeFile(name + "-0000.dat"), std::string(640, '\0'));
  }
  {
    ConsoleCapture console;  // no answer queued: the default is "No"
    EXPECT_EQ(BlockManager::create(name.c_str(), 16, 40, 1, 0, 1, 0), nullptr);
    EXPECT_TRUE(console.saw("answer: No (default)"));
  }
}

// An agreed overwrite by a smaller set cuts the files to their new lengths and
// removes what only the older set had; the new set reads zeros where nothing was written.
TEST(BlockManagerOverwrite, ASmallerSetLeavesNothingOfTheLargerOne) {
  TempDir dir;
  std::string name = dir.file("s");
  {
    std::unique_ptr<BlockManager> large(BlockManager::create(name.c_str(), 16, 200, 1, 1024, 1, 1));
    auto block = pattern(16, 5);
    for (int b = 0; b < 200; ++b) large->putBlock(block.data(), b);
    ASSERT_TRUE(fileExists(name + "-0003.dat"));
  }
  writeWholeFile(name + "-INTN.dat", "BLCKINT1");
  std::unique_ptr<BlockManager> small(BlockManager::create(name.c_str(), 16, 70, 1, 1024, 1, 1));
  ASSERT_TRUE(small);
  EXPECT_EQ(readWholeFile(name + "-0001.dat"), std::string(6 * 16, '\0'));
  EXPECT_EQ(readWholeFile(name + "-0000.dat"), std::string(64 * 16, '\0'));
  for (const char* gone : {"-0002.dat", "-0003.dat", "-INTN.dat"}) EXPECT_FALSE(fileExists(name + gone)) << gone;
  EXPECT_EQ(sizeOfFile(name + "-SUPR.dat"), 70 / 8 + 9);
}

TEST(BlockManagerFailures, CreateRemovesEveryFileWhenOneCannotBeMade) {
  TempDir dir;
  std::string name = dir.file("f");
  const int blocks = 3 * 64;  // three data files of 64 blocks
  for (FileFaults::Op op : {FileFaults::OPEN, FileFaults::TRUNCATE}) {
    FileFaults faults;
    faults.failCall(op, 3);  // the second block data file
    EXPECT_EQ(BlockManager::create(name.c_str(), 16, blocks, 1, 1024, 1, 1), nullptr) << op;
    for (const char* file : {"-SUPR.dat", "-0000.dat", "-0001.dat", "-0002.dat"})
      EXPECT_FALSE(fileExists(name + file)) << op << file;
  }
}

TEST(BlockManagerFailures, CreateThrowsZeroWhenTheFirstBitmapCannotBeStored) {
  TempDir dir;
  std::string name = dir.file("t");
  FileFaults faults;
  faults.failCall(FileFaults::WRITE, 1);  // files are sized without writing: this is the bitmap
  int thrown = -1;
  try {
    BlockManager::create(name.c_str(), 16, 4, 1, 0, 1, 1);
  } catch (int value) {
    thrown = value;
  }
  EXPECT_EQ(thrown, 0);
  EXPECT_FALSE(fileExists(name + "-SUPR.dat"));
  EXPECT_FALSE(fileExists(name + "-0000.dat"));
}

// A block whose write failed or fell short is never flagged current, and loses
// a flag it had: it may hold part of its new bytes.
TEST(BlockManagerFailures, FailedTransfersNeverFlagAndLeaveTheManagerUsable) {
  TempDir dir;
  auto set = makeSet(dir.file("u"), 64, 4);
  auto block = pattern(64, 9);
  std::vector<unsigned char> back(64);
  ASSERT_EQ(set->putBlock(block.data(), 2), 1);
  FileFaults faults;
  for (FileFaults::Failure how : {FileFaults::SHORT_COUNT, FileFaults::NO_SPACE, FileFaults::IO_ERROR}) {
    faults.failCall(FileFaults::WRITE, 1, how);
    EXPECT_EQ(set->putBlock(block.data(), 1), 0) << how;
    EXPECT_FALSE(set->validFlag(1)) << how;
    faults.failCall(FileFaults::WRITE, 1, how);
    EXPECT_EQ(set->putBlock(block.data(), 2), 0) << how;
    EXPECT_FALSE(set->validFlag(2)) << how;
  }
  faults.failCall(FileFaults::READ, 1, FileFaults::SHORT_COUNT);
  EXPECT_EQ(set->getBlock(back.data(), 1), 0);
  faults.failCall(FileFaults::WRITE, 1);  // the magic and the bitmap go out in one call
  EXPECT_EQ(set->writeValids(), 0);
  EXPECT_EQ(set->validsModified, 1);
  ASSERT_EQ(set->putBlock(block.data(), 3), 1);
  ASSERT_EQ(set->getBlock(back.data(), 3), 1);
  EXPECT_EQ(back, block);
  EXPECT_EQ(set->writeValids(), 1);
}

TEST(BlockManagerFailures, DeleteFilesRemovesTheWholeSet) {
  TempDir dir;
  std::string name = dir.file("d");
  auto set = std::unique_ptr<BlockManager>(BlockManager::create(name.c_str(), 16, 150, 1, 1024, 1, 1));
  ASSERT_TRUE(set);
  auto block = pattern(16, 1);
  set->putBlock(block.data(), 149);
  set->deleteFiles();
  for (const char* file : {"-SUPR.dat", "-0000.dat", "-0001.dat", "-0002.dat"})
    EXPECT_FALSE(fileExists(name + file)) << file;
}

}  // namespace
