// Raw volumes into disk data: the description from the command's words or the
// raw-data dialog, the files read slice chunk by slice chunk, and the refusals,
// checked against the stored samples of the set read back from disk.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "convert/SliceChunkWriter.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;

class RawConversion : public ::testing::Test {
 protected:
  CommandResult convert(const std::vector<std::string>& words, const std::string& outName = "out") {
    return tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file(outName)} + words);
  }
  std::string out(const std::string& name = "out") const { return dir.file(name + ".lda"); }
  // The names in the folder that are not among `inputs`.
  std::set<std::string> madeFiles(const std::vector<std::string>& inputs) const {
    std::set<std::string> made;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) made.insert(entry.path().string());
    for (const std::string& input : inputs) made.erase(input);
    return made;
  }
  std::vector<std::string> messages() const { return withoutProgress(console.lines); }

  TempDir dir;
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

// ---------------------------------------------------------------------------
// What comes out: every element type, both byte orders, headers, components,
// one file or one file per slice, several chunks.

template <class T>
class RawElementTypes : public RawConversion {};
using ElementTypes = ::testing::Types<uint8_t, int16_t, uint16_t, int32_t, float, double>;
TYPED_TEST_SUITE(RawElementTypes, ElementTypes);

TYPED_TEST(RawElementTypes, OneFileAfterAHeaderInEitherByteOrder) {
  using T = TypeParam;
  const auto volume = testVolume<T>(37, 21, 9);
  const char* type = primTypeOf<T>().name();
  for (const char* order : {"little", "big"}) {
    SCOPED_TRACE(order);
    const std::string input = this->dir.file(std::string("in-") + order + ".raw");
    writeRaw(input, volume, 17, std::string(order) == "big");
    const CommandResult done =
        this->convert(rawWords(37, 21, 9, type, 1, 17, order, {input}), std::string("out-") + order);
    EXPECT_EQ(done.code, TCL_OK);
    EXPECT_EQ(done.result, "1");
    expectStored(this->out(std::string("out-") + order), volume);
  }
  EXPECT_EQ(this->messages(), std::vector<std::string>{});
}

TEST_F(RawConversion, ThreeComponentsBigEndian) {
  const auto volume = testVolume<int16_t>(19, 10, 6, 3);
  writeRaw(dir.file("rgb.raw"), volume, 0, true);
  EXPECT_EQ(convert(rawWords(19, 10, 6, "int16", 3, 0, "big", {dir.file("rgb.raw")})).result, "1");
  expectStored(out(), volume);
}

TEST_F(RawConversion, OneFilePerSliceEachAfterItsHeader) {
  const auto volume = testVolume<uint16_t>(23, 9, 70);  // two chunks: 64 and 6 files
  const std::vector<std::string> slices = writeRawSlices(dir.file("slice"), volume, 5, true);
  ASSERT_EQ(slices.size(), 70u);
  EXPECT_EQ(convert(rawWords(23, 9, 70, "uint16", 1, 5, "big", slices)).result, "1");
  expectStored(out(), volume);
  EXPECT_EQ(messages(), std::vector<std::string>{});
}

TEST_F(RawConversion, AHundredSlicesGoInChunksOfSixtyFourAndThirtySix) {
  const auto volume = testVolume<uint8_t>(13, 11, 100);
  const std::string input = dir.file("deep.raw");
  writeRaw(input, volume, 3);
  std::vector<ReadRecorder::Read> reads;
  {
    ReadRecorder watch(input);
    EXPECT_EQ(convert(rawWords(13, 11, 100, "uint8", 1, 3, "little", {input})).result, "1");
    reads = watch.reads;
  }
  const int64_t slice = 13 * 11;
  EXPECT_EQ(reads, (std::vector<ReadRecorder::Read>{{3, 64 * slice}, {3 + 64 * slice, 36 * slice}}));
  expectStored(out(), volume);
}

TEST(ChunkSlices, SixtyFourSlicesAtMostTwoHundredFiftySixMiBButNeverNone) {
  EXPECT_EQ(chunkSlices(4096LL * 4096 * 4), 4);
  EXPECT_EQ(chunkSlices(1), 64);
  EXPECT_EQ(chunkSlices(512LL * 512 * 2), 64);
  EXPECT_EQ(chunkSlices(4LL * 1024 * 1024), 64);  // 64 slices of exactly 256 MiB together
  EXPECT_EQ(chunkSlices(4LL * 1024 * 1024 + 1), 32);
  EXPECT_EQ(chunkSlices(256LL * 1024 * 1024), 1);
  EXPECT_EQ(chunkSlices(8192LL * 16385 * 2), 1);  // one slice above 256 MiB
}

// A slice above 256 MiB is still converted, one slice at a time. The input is a
// sparse file of zeros with a few samples set.
TEST_F(RawConversion, ASliceAboveTwoHundredFiftySixMiBGoesOneSliceAtATime) {
  const int nx = 8192, ny = 16385, nz = 2;
  const int64_t slice = int64_t(nx) * ny * 2;
  const std::string input = dir.file("huge.raw");
  struct Sample {
    int x, y, z;
    uint16_t value;
  };
  const Sample samples[] = {{0, 0, 0, 1000}, {8191, 16384, 1, 2000}, {4000, 9000, 0, 3000}, {4001, 9001, 1, 5000}};
  {
    const int fd = open(input.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, slice * nz), 0);
    for (const Sample& s : samples) {
      const uint16_t little = s.value;  // this machine is little-endian
      ASSERT_EQ(pwrite(fd, &little, 2, (int64_t(s.z) * ny * nx + int64_t(s.y) * nx + s.x) * 2), 2);
    }
    close(fd);
  }
  std::vector<ReadRecorder::Read> reads;
  {
    ReadRecorder watch(input);
    EXPECT_EQ(convert(rawWords(nx, ny, nz, "uint16", 1, 0, "little", {input})).result, "1");
    reads = watch.reads;
  }
  EXPECT_EQ(reads, (std::vector<ReadRecorder::Read>{{0, slice}, {slice, slice}}));

  StoredSet set(out());
  ASSERT_TRUE(set);
  EXPECT_EQ(set.dims(), (std::vector<int>{nx, ny, nz}));
  for (const Sample& s : samples) {
    const int origin[3] = {s.x > 0 ? s.x - 1 : 0, s.y > 0 ? s.y - 1 : 0, 0}, size[3] = {2, 2, 2};
    const auto box = set.read<uint16_t>(origin, size, 1);
    for (int z = 0; z < 2; ++z)
      for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x) {
          const bool here = origin[0] + x == s.x && origin[1] + y == s.y && z == s.z;
          bool other = false;  // another chosen sample inside this box
          for (const Sample& o : samples)
            other |= &o != &s && origin[0] + x == o.x && origin[1] + y == o.y && z == o.z;
          if (!other) {
            EXPECT_EQ(box.at(x, y, z), here ? s.value : 0) << s.x << "," << s.y << "," << s.z;
          }
        }
  }
  // At subsampling 2: 2x2x2 means, samples beyond the last row counting as 0.
  const int cells[][3] = {{0, 0, 0}, {2000, 4500, 0}, {4095, 8192, 0}, {100, 100, 0}};
  const uint16_t means[] = {125, 1000, 250, 0};
  for (int i = 0; i < 4; ++i) {
    const int origin[3] = {cells[i][0] * 2, cells[i][1] * 2, 0}, size[3] = {1, 1, 1};
    EXPECT_EQ(set.read<uint16_t>(origin, size, 2).at(0, 0, 0), means[i]) << "cell " << i;
  }
}

// ---------------------------------------------------------------------------
// Input files that do not fit the description.

TEST_F(RawConversion, AShortFileIsAnIoError) {
  const auto volume = testVolume<uint16_t>(16, 8, 9);
  writeRaw(dir.file("short.raw"), volume);
  EXPECT_EQ(convert(rawWords(16, 8, 10, "uint16", 1, 0, "little", {dir.file("short.raw")})).result, "0");
  EXPECT_EQ(messages(), (std::vector<std::string>{"Error: io\n", "Error converting files"}));
}

TEST_F(RawConversion, AMissingSliceFileCannotBeOpened) {
  const auto volume = testVolume<uint8_t>(8, 8, 5);
  const std::vector<std::string> slices = writeRawSlices(dir.file("s"), volume);
  std::remove(slices[3].c_str());
  EXPECT_EQ(convert(rawWords(8, 8, 5, "uint8", 1, 0, "little", slices)).result, "0");
  EXPECT_EQ(messages(), (std::vector<std::string>{"can't open " + slices[3], "Error converting files"}));
}

TEST_F(RawConversion, SeveralFilesMustBeOnePerSliceBeforeAnythingIsWritten) {
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1"}).code, TCL_OK);
  const auto volume = testVolume<uint8_t>(8, 8, 3);
  std::vector<std::string> slices = writeRawSlices(dir.file("s"), volume);
  slices.pop_back();
  EXPECT_EQ(convert(rawWords(8, 8, 3, "uint8", 1, 0, "little", slices)).result, "0");
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "Error: 2 input files for 3 slices: give one file, or one file per slice",
                               "Error converting files"}));
  slices.push_back(dir.path() + "/s2.raw");
  EXPECT_EQ(madeFiles(slices), std::set<std::string>{});  // no .km, no .dat
}

TEST_F(RawConversion, AnExistingDescriptionIsKeptWhenTheUserSaysNo) {
  const auto volume = testVolume<uint8_t>(8, 8, 2);
  writeRaw(dir.file("in.raw"), volume);
  writeWholeFile(out(), "precious");
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"No"});
  EXPECT_EQ(convert(rawWords(8, 8, 2, "uint8", 1, 0, "little", {dir.file("in.raw")})).result, "0");
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "question: " + out() + " already exists. Should it be overwritten? [No/Yes/Yes to All]",
                               "answer: No (script)", "Error: can't create lda\n", "Error converting files"}));
  EXPECT_EQ(readWholeFile(out()), "precious");
  EXPECT_EQ(madeFiles({dir.file("in.raw")}), std::set<std::string>{out()});
}

// Converting again over an existing set, the user allowing it, leaves only the
// new volume in it, at every level.
TEST_F(RawConversion, AnExistingSetIsReplacedWhenTheUserSaysYes) {
  const auto first = testVolume<uint16_t>(40, 20, 9);
  writeRaw(dir.file("first.raw"), first);
  EXPECT_EQ(convert(rawWords(40, 20, 9, "uint16", 1, 0, "little", {dir.file("first.raw")})).result, "1");
  auto second = testVolume<uint16_t>(40, 20, 9);
  for (uint16_t& v : second.values) v = static_cast<uint16_t>(60000 - v);
  writeRaw(dir.file("second.raw"), second);
  console.lines.clear();
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});
  EXPECT_EQ(convert(rawWords(40, 20, 9, "uint16", 1, 0, "little", {dir.file("second.raw")})).result, "1");
  EXPECT_EQ(console.count("question: "), 3);
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::WARNING), 0);
  expectStored(out(), second);

  // "Yes to All" asks nothing more.
  writeRaw(dir.file("first.raw"), first);
  console.lines.clear();
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes to All"});
  EXPECT_EQ(convert(rawWords(40, 20, 9, "uint16", 1, 0, "little", {dir.file("first.raw")})).result, "1");
  EXPECT_EQ(console.count("question: "), 1);
  expectStored(out(), first);
}

TEST_F(RawConversion, NoComponentsIsRefusedByTheDiskDataSet) {
  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(8, 8, 2));
  testing::internal::CaptureStdout();
  const CommandResult done = convert(rawWords(8, 8, 2, "uint8", 0, 0, "little", {dir.file("in.raw")}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "UxDiskData::create ():nDataVar <= 0Error: can't create lda\nError converting files\n");
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(madeFiles({dir.file("in.raw")}), std::set<std::string>{});
}

// ---------------------------------------------------------------------------
// The description words. With more than one file word a wrong word ends the
// conversion; with exactly one the raw-data dialog gets its turn.

struct BadDescription {
  const char* name;
  std::vector<std::string> words;  // the 19 description words
  const char* message;
};

std::vector<std::string> goodDescription() { return rawWords(4, 4, 2, "uint8", 1, 0, "little", {}); }
std::vector<std::string> replaced(int position, const char* word) {
  std::vector<std::string> words = goodDescription();
  words[position] = word;
  return words;
}

class RawDescriptionWords : public RawConversion, public ::testing::WithParamInterface<BadDescription> {};

TEST_P(RawDescriptionWords, AWrongWordBeforeSeveralFilesEndsTheConversion) {
  const BadDescription& bad = GetParam();
  ASSERT_EQ(bad.words.size(), 19u);
  const CommandResult done = convert(bad.words + std::vector<std::string>{dir.file("a.raw"), dir.file("b.raw")});
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(console.lines, (std::vector<std::string>{bad.message, "Error converting files"}));
  EXPECT_EQ(madeFiles({}), std::set<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(
    EveryWord, RawDescriptionWords,
    ::testing::Values(BadDescription{"dimsWord", replaced(0, "-dim"), "Error -dims"},
                      BadDescription{"zeroWidth", replaced(1, "0"), "illegal dimensions."},
                      BadDescription{"zeroDepth", replaced(3, "0"), "illegal dimensions."},
                      BadDescription{"textHeight", replaced(2, "high"), "illegal dimensions."},
                      BadDescription{"negativeDepth", replaced(3, "-2"), "illegal dimensions."},
                      BadDescription{"ptypeWord", replaced(4, "-type"), "Error -ptype"},
                      BadDescription{"unknownType", replaced(5, "uint64"), "Error: not a valid TbPrimType"},
                      BadDescription{"ndatavarWord", replaced(6, "-ndatavars"), "Error -ndatavar"},
                      BadDescription{"headerWord", replaced(8, "-head"), "Error -header"},
                      BadDescription{"endianessWord", replaced(10, "-endian"), "Error -endianess"},
                      BadDescription{"doubleNSpelling", replaced(10, "-endianness"), "Error -endianess"},
                      BadDescription{"unknownOrder", replaced(11, "middle"), "Error: not a valid endianess"},
                      BadDescription{"bboxWord", replaced(12, "-box"), "Error -bbox"}),
    [](const ::testing::TestParamInfo<BadDescription>& info) { return std::string(info.param.name); });

TEST_F(RawConversion, AWrongWordBeforeOneFileFallsToTheDialogWhichFindsNoSuchFile) {
  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(4, 4, 2));
  const CommandResult done = convert(replaced(4, "-type") + std::vector<std::string>{dir.file("in.raw")});
  EXPECT_EQ(done.result, "0");
  // The files the dialog would describe are the command's words.
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{"Error -ptype", "Error: can't open -dims", "Error converting files"}));
  EXPECT_EQ(madeFiles({dir.file("in.raw")}), std::set<std::string>{});
}

// ---------------------------------------------------------------------------
// The description from the raw-data dialog.

TEST_F(RawConversion, TheDialogDescribesFilesNamedWithoutDescription) {
  const auto volume = testVolume<int32_t>(10, 6, 4);
  writeRaw(dir.file("in.raw"), volume, 12, true);
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "10", "6", "4", "-ptype", "int32", "-ndatavar", "1", "-header",
                                             "12", "-endianess", "big", "-bbox", "0", "1", "0", "2", "0", "3"});
  EXPECT_EQ(convert({dir.file("in.raw")}).result, "1");
  EXPECT_EQ(messages(), (std::vector<std::string>{
                            "raw data dialog: 1 file, 972 bytes",
                            "answer: -dims 10 6 4 -ptype int32 -ndatavar 1 -header 12 -endianess big "
                            "-bbox 0 1 0 2 0 3 (script)"}));
  expectStored(out(), volume);
}

TEST_F(RawConversion, FilesOfDifferentSizesAskOnceAndNoStops) {
  const auto volume = testVolume<uint8_t>(6, 5, 3);
  std::vector<std::string> slices = writeRawSlices(dir.file("s"), volume);
  writeWholeFile(slices[1], readWholeFile(slices[1]) + "0123456789");
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"No"});
  EXPECT_EQ(convert(slices).result, "0");
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{
                "question: The files you selected have different sizes!\nDo you want to continue? [Yes/No]",
                "answer: No (script)", "Error converting files"}));
  EXPECT_EQ(madeFiles(slices), std::set<std::string>{});
}

TEST_F(RawConversion, FilesOfDifferentSizesAskOnceAndYesGoesOn) {
  const auto volume = testVolume<uint8_t>(6, 5, 3);
  std::vector<std::string> slices = writeRawSlices(dir.file("s"), volume);
  writeWholeFile(slices[1], readWholeFile(slices[1]) + "0123456789");
  writeWholeFile(slices[2], readWholeFile(slices[2]) + "01234567890123456789");
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "6", "5", "3", "-bbox", "0", "1", "0", "2", "0", "3"});
  EXPECT_EQ(convert(slices).result, "1");
  EXPECT_EQ(console.count("question: The files you selected have different sizes!"), 1);
  EXPECT_TRUE(console.saw("answer: Yes (script)"));
  EXPECT_TRUE(console.saw("raw data dialog: 3 files, 30 bytes"));
  expectStored(out(), volume);
}

TEST_F(RawConversion, NoDepthFromTheDialogMakesAnEmptySet) {
  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(4, 4, 2));
  // The answer leaves the dimensions at the dialog's 0 0 0.
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-ptype", "uint8", "-ndatavar", "1", "-header", "0", "-endianess",
                                             "little", "-bbox", "0", "1", "0", "1", "0", "1"});
  EXPECT_EQ(convert({dir.file("in.raw")}).result, "1");
  EXPECT_FALSE(console.saw("Error converting files"));
  StoredSet set(out());
  ASSERT_TRUE(set);
  EXPECT_EQ(set.dims()[2], 0);
}

TEST_F(RawConversion, ACancelledDialogConvertsNothing) {
  writeRaw(dir.file("in.raw"), testVolume<uint8_t>(4, 4, 2));
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"cancel"});
  EXPECT_EQ(convert({dir.file("in.raw")}).result, "0");
  EXPECT_EQ(console.lines, (std::vector<std::string>{"raw data dialog: 1 file, 32 bytes", "answer: cancel (script)",
                                                     "Error converting files"}));
  EXPECT_EQ(madeFiles({dir.file("in.raw")}), std::set<std::string>{});
}

}  // namespace
