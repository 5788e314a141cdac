// Raw volumes into disk data: the description from the command's words or the
// raw-data dialog, the files read slice chunk by slice chunk, Ctrl-C between
// chunks, and the refusals, checked against the stored samples of the set read
// back from disk.
#include <gtest/gtest.h>

#include <cstdio>

#include "ConvertTestSupport.h"
#include "convert/SliceChunkWriter.h"
#include "host/console/UxWorkArea.h"
#include "support/FileFaults.h"

namespace {

using namespace convert_test;
using Reads = std::vector<std::pair<int64_t, int64_t>>;

// The reads of one file, as offset and size, made while `faults` lived.
Reads readsOf(const FileFaults& faults, const std::string& path) {
  Reads reads;
  for (const FileFaults::Access& read : faults.reads())
    if (read.file == path) reads.push_back({read.offset, read.bytes});
  return reads;
}

class RawConversion : public ConvertTest {
 protected:
  CommandResult convertRaw(const Words& words, const std::string& outName = "out") {
    return convert(Words{"-format", "Raw Data", "-lda", dir.file(outName)} + words);
  }
  std::string out(const std::string& name = "out") const { return dir.file(name + ".lda"); }
};

template <class T>
class RawElementTypes : public RawConversion {};
using ElementTypes = ::testing::Types<uint8_t, int16_t, uint16_t, int32_t, float, double>;
TYPED_TEST_SUITE(RawElementTypes, ElementTypes);

// One component after a header in little-endian order, three in big-endian.
TYPED_TEST(RawElementTypes, OneFileInEitherByteOrder) {
  const struct { const char* order; int components, header; } cases[] = {{"little", 1, 17}, {"big", 3, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.order);
    const auto volume = testVolume<TypeParam>(37, 21, 9, c.components);
    const std::string input = this->dir.file(std::string(c.order) + ".raw");
    writeRaw(input, volume, c.header, std::string(c.order) == "big");
    const Words words = rawWords(37, 21, 9, primTypeOf<TypeParam>().name(), c.components, c.header, c.order, {input});
    EXPECT_EQ(this->convertRaw(words, c.order).result, "1");
    expectStored(this->out(c.order), volume);
  }
  EXPECT_EQ(this->console.lines, Lines{});
}

// 70 files of one slice each after its own header go in chunks of 64 and 6;
// 100 slices of one file are read in two runs, of 64 and 36 slices.
TEST_F(RawConversion, SlicesGoInChunksOfSixtyFour) {
  const auto sliced = testVolume<uint16_t>(23, 9, 70);
  const Words slices = writeRawSlices(dir.file("slice"), sliced, 5, true);
  EXPECT_EQ(convertRaw(rawWords(23, 9, 70, "uint16", 1, 5, "big", slices), "sliced").result, "1");
  expectStored(out("sliced"), sliced);

  const auto deep = testVolume<uint8_t>(13, 11, 100);
  const std::string input = dir.file("deep.raw");
  writeRaw(input, deep, 3);
  {
    FileFaults watch;
    EXPECT_EQ(convertRaw(rawWords(13, 11, 100, "uint8", 1, 3, "little", {input}), "deep").result, "1");
    EXPECT_EQ(readsOf(watch, input), (Reads{{3, 64 * 143}, {3 + 64 * 143, 36 * 143}}));
  }
  expectStored(out("deep"), deep);
  EXPECT_EQ(console.lines, Lines{});
}

TEST(ChunkSlices, SixtyFourSlicesAtMostTwoHundredFiftySixMiBButNeverNone) {
  const std::pair<int64_t, int> cases[] = {
      {4096LL * 4096 * 4, 4}, {1, 64}, {512LL * 512 * 2, 64}, {4LL << 20, 64},  // 64 slices of exactly 256 MiB
      {(4LL << 20) + 1, 32},  {256LL << 20, 1}, {8192LL * 16385 * 2, 1}};       // one slice above 256 MiB
  for (const auto& c : cases) EXPECT_EQ(chunkSlices(c.first), c.second) << c.first;
}

// Input files that do not fit the description; a wrong number of files is
// found before anything is written.
TEST_F(RawConversion, InputsThatDoNotFitTheDescriptionFail) {
  const auto volume = testVolume<uint8_t>(8, 8, 4);
  writeRaw(dir.file("in.raw"), volume);
  const Words slices = writeRawSlices(dir.file("s"), volume);
  std::remove(slices[3].c_str());
  const struct {
    Words files;
    int depth;
    std::string message;
    bool makesNothing;
  } cases[] = {{{slices[0], slices[1]}, 3, "Error: 2 input files for 3 slices: give one file, or one file per slice", true},
               {{dir.file("in.raw")}, 5, "Error: io\n", false},
               {slices, 4, "can't open " + slices[3], false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    console.lines.clear();
    EXPECT_EQ(convertRaw(rawWords(8, 8, c.depth, "uint8", 1, 0, "little", c.files), std::to_string(c.depth)).result, "0");
    EXPECT_EQ(console.lines, (Lines{c.message, "Error converting files"}));
    if (c.makesNothing) {
      EXPECT_EQ(madeFiles({dir.file("in.raw"), slices[0], slices[1], slices[2]}), std::set<std::string>{});
    }
  }
}

// Converting over an existing set asks first, for the description and then for
// each block file unless the answer was "Yes to All"; "No" keeps the old file.
TEST_F(RawConversion, AnExistingSetIsReplacedOnlyWhenTheUserSaysSo) {
  const auto first = testVolume<uint16_t>(40, 20, 9);
  auto second = first;
  for (uint16_t& v : second.values) v = static_cast<uint16_t>(60000 - v);
  writeRaw(dir.file("first.raw"), first);
  writeRaw(dir.file("second.raw"), second);
  writeWholeFile(out(), "precious");
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"No"});
  EXPECT_EQ(convertRaw(rawWords(40, 20, 9, "uint16", 1, 0, "little", {dir.file("first.raw")})).result, "0");
  EXPECT_EQ(console.lines, (Lines{"question: " + out() + " already exists. Should it be overwritten? [No/Yes/Yes to All]",
                                  "answer: No (script)", "Error: can't create lda\n", "Error converting files"}));
  EXPECT_EQ(readWholeFile(out()), "precious");
  const struct {
    Words answers;
    const char* input;
    const ReferenceVolume<uint16_t>& stored;
    int questions;
  } cases[] = {{{"Yes"}, "first.raw", first, 1},
               {{"Yes", "Yes", "Yes"}, "second.raw", second, 3},
               {{"Yes to All"}, "first.raw", first, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answers[0] + " x" + std::to_string(c.answers.size()));
    console.lines.clear();
    for (const std::string& answer : c.answers) UxBatchAnswers::push(UxBatchAnswers::WARNING, {answer});
    EXPECT_EQ(convertRaw(rawWords(40, 20, 9, "uint16", 1, 0, "little", {dir.file(c.input)})).result, "1");
    EXPECT_EQ(console.count("question: "), c.questions);
    EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::WARNING), 0);
    expectStored(out(), c.stored);
  }
}

// With more than one file word a wrong description word ends the conversion;
// with exactly one the raw-data dialog gets its turn.
TEST_F(RawConversion, AWrongDescriptionWordIsNamed) {
  const struct {
    int position;
    const char* word;
    const char* message;
  } cases[] = {{0, "-dim", "Error -dims"},           {1, "0", "illegal dimensions."},
               {2, "high", "illegal dimensions."},   {3, "-2", "illegal dimensions."},
               {4, "-type", "Error -ptype"},         {5, "uint64", "Error: not a valid TbPrimType"},
               {6, "-ndatavars", "Error -ndatavar"}, {8, "-head", "Error -header"},
               {10, "-endianness", "Error -endianess"}, {11, "middle", "Error: not a valid endianess"},
               {12, "-box", "Error -bbox"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.word);
    console.lines.clear();
    Words words = rawWords(4, 4, 2, "uint8", 1, 0, "little", {dir.file("a.raw"), dir.file("b.raw")});
    words[c.position] = c.word;
    EXPECT_EQ(convertRaw(words).result, "0");
    EXPECT_EQ(console.lines, (Lines{c.message, "Error converting files"}));
  }
  EXPECT_EQ(madeFiles(), std::set<std::string>{});

  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(4, 4, 2));
  console.lines.clear();
  Words words = rawWords(4, 4, 2, "uint8", 1, 0, "little", {dir.file("in.raw")});
  words[4] = "-type";
  EXPECT_EQ(convertRaw(words).result, "0");
  // The files the dialog would describe are the command's words.
  EXPECT_EQ(console.lines, (Lines{"Error -ptype", "Error: can't open -dims", "Error converting files"}));
  EXPECT_EQ(madeFiles({dir.file("in.raw")}), std::set<std::string>{});
}

// Ctrl-C during a raw conversion stops before the next chunk, keeps the
// chunks stored, brings their levels up to date and counts as done.
TEST_F(RawConversion, CtrlCBeforeTheSecondChunkKeepsTheFirst) {
  auto volume = testVolume<uint16_t>(13, 11, 100);  // chunks of 64 and 36 slices
  writeRaw(dir.file("in.raw"), volume);
  UxWorkArea::interruptAfterChecks(1);
  const CommandResult done = convertRaw(rawWords(13, 11, 100, "uint16", 1, 0, "little", {dir.file("in.raw")}));
  UxWorkArea::interruptAfterChecks(-1);
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(console.lines, (Lines{"Interrupted"}));
  // Level 0 is blocks 0-24 (slices 0-63 fill the first 16), level 1 blocks
  // 25-37: those over the stored slices (25-32) are brought up to date, those
  // over slices never written are left for a read to compute.
  const std::string flags = readWholeFile(dir.file("out.lda-SUPR.dat"));
  for (int b = 0; b < 45; ++b) EXPECT_EQ((flags.at(8 + b / 8) >> (b % 8)) & 1, b < 16 || (b >= 25 && b < 33)) << b;
  for (size_t i = 64 * 13 * 11; i < volume.values.size(); ++i) volume.values[i] = 0;
  expectStored(out(), volume);
}

// The description from the raw-data dialog.

// An answer that leaves the dimensions at the dialog's 0 0 0 makes an empty set.
TEST_F(RawConversion, NoDepthFromTheDialogMakesAnEmptySet) {
  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(4, 4, 2));
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-ptype", "uint8", "-bbox", "0", "1", "0", "1", "0", "1"});
  EXPECT_EQ(convertRaw({dir.file("in.raw")}).result, "1");
  StoredSet set(out());
  ASSERT_TRUE(set);
  EXPECT_EQ(set.dims()[2], 0);
}

// Files of different sizes ask once: "No" stops before anything is made,
// "Yes" goes on to the raw-data dialog.
TEST_F(RawConversion, FilesOfDifferentSizesAskOnce) {
  const auto volume = testVolume<uint8_t>(6, 5, 3);
  const Words slices = writeRawSlices(dir.file("s"), volume);
  writeWholeFile(slices[1], readWholeFile(slices[1]) + "0123456789");
  writeWholeFile(slices[2], readWholeFile(slices[2]) + "01234567890123456789");
  const std::string question =
      "question: The files you selected have different sizes!\nDo you want to continue? [Yes/No]";
  const struct {
    const char* answer;
    const char* result;
    Lines messages;
  } cases[] = {{"No", "0", {question, "answer: No (script)", "Error converting files"}},
               {"Yes", "1", {question, "answer: Yes (script)", "raw data dialog: 3 files, 30 bytes",
                             "answer: -dims 6 5 3 -ptype uint8 -ndatavar 1 -header 0 -endianess little "
                             "-bbox 0 1 0 2 0 3 (script)"}}};
  for (const auto& c : cases) {
    console.lines.clear();
    UxBatchAnswers::push(UxBatchAnswers::WARNING, {c.answer});
    UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "6", "5", "3", "-bbox", "0", "1", "0", "2", "0", "3"});
    EXPECT_EQ(convertRaw(slices).result, c.result) << c.answer;
    EXPECT_EQ(console.lines, c.messages) << c.answer;
    if (*c.result == '0') {
      EXPECT_EQ(madeFiles(slices), std::set<std::string>{});
    }
    UxBatchAnswers::clear();
  }
  expectStored(out(), volume);
}

}  // namespace
