// The words of the module's convertToDiskData command: the fixed words at the
// front, the conversion options after the output name, and what reaches the
// host's tiled converter (a recording stand-in) or the readers from them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;

const char* const kUsage =
    "Usage:\n"
    "-format 'Raw Data' -lda ldadirectory -dims x y z -ptype p -ndatavar d -header h -endianess e "
    "-bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format 'Raw Data' -lda ldadirectory -tilesize ts -bordersize bs -compressor cs -dims x y z "
    "-ptype p -ndatavar d -header h -endianess e -bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format imageformat -lda ldadirectory -bbox b1 b2 b3 b4 b5 b6 -channel c FILE(S)";

class CommandWords : public ::testing::Test {
 protected:
  void SetUp() override { writeRaw(input, testVolume<uint8_t>(4, 4, 2)); }

  // -format LABEL -lda OUT, the options, then a full raw description of the input.
  CommandResult convertWith(const std::vector<std::string>& options, const char* format = "Raw Data") {
    return tcl.convert(module, std::vector<std::string>{"-format", format, "-lda", dir.file("vol")} + options +
                                   rawWords(4, 4, 2, "uint8", 1, 0, "little", {input}));
  }
  const TiledDouble::Call& onlyCall() {
    static TiledDouble::Call none{};
    EXPECT_EQ(TiledDouble::calls().size(), 1u);
    return TiledDouble::calls().empty() ? none : TiledDouble::calls()[0];
  }

  TempDir dir;
  const std::string input = dir.file("in.raw");
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

// ---------------------------------------------------------------------------
// The words before the options.

TEST_F(CommandWords, NoFurtherWordsShowTheUsageAndFail) {
  const CommandResult done = tcl.convert(module, {});
  EXPECT_EQ(done.code, TCL_ERROR);
  EXPECT_EQ(console.lines, std::vector<std::string>{kUsage});
}

TEST_F(CommandWords, TheThirdWordMustBeExactlyFormat) {
  TiledDouble tiled(1);
  for (const char* word : {"-Format", "format", "-lda", "-FORMAT"}) {
    SCOPED_TRACE(word);
    console.lines.clear();
    const CommandResult done = tcl.convert(module, {word, "Raw Data", "-lda", dir.file("vol"), input});
    EXPECT_EQ(done.code, TCL_OK);
    EXPECT_EQ(done.result, "0");
    EXPECT_EQ(console.lines, std::vector<std::string>{kUsage});
  }
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

TEST_F(CommandWords, FormatNeedsALabel) {
  const CommandResult done = tcl.convert(module, {"-format"});
  EXPECT_EQ(done.code, TCL_OK);
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(console.lines, std::vector<std::string>{"no format specified"});
}

TEST_F(CommandWords, TheFifthWordMustBeExactlyLda) {
  for (const char* word : {"-LDA", "-Lda", "lda", "-out"}) {
    SCOPED_TRACE(word);
    console.lines.clear();
    const CommandResult refused = tcl.convert(module, {"-format", "Raw Data", word, dir.file("other"), input});
    EXPECT_EQ(refused.result, "0");
    EXPECT_EQ(console.lines, std::vector<std::string>{kUsage});
  }
  EXPECT_FALSE(fileExists(dir.file("other.lda")));
}

TEST_F(CommandWords, LdaNeedsAName) {
  const CommandResult done = tcl.convert(module, {"-format", "Raw Data", "-lda"});
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(console.lines, std::vector<std::string>{"no lda directory specified"});
}

TEST_F(CommandWords, AFormatAloneNeedsOutputAndInput) {
  module.inputs.setFilename(input.c_str());
  CommandResult done = tcl.convert(module, {"-format", "Raw Data"});
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(console.lines, std::vector<std::string>{"please specify output"});

  console.lines.clear();
  module.output.setFilename(dir.file("vol.lda").c_str());
  done = tcl.convert(module, {"-format", "Raw Data"});
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(console.lines, std::vector<std::string>{"please specify input and output"});
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

// ---------------------------------------------------------------------------
// Options, and what the tiled converter gets.

TEST_F(CommandWords, WithoutOptionsTheTiledConverterGetsTheDescriptionAndThePorts) {
  TiledDouble tiled(1);
  writeRaw(input, testVolume<int16_t>(5, 4, 3), 8, true);
  const CommandResult done =
      tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("vol")} +
                              rawWords(5, 4, 3, "int16", 1, 8, "big", {input}, "-1 1 -2 2 0.5 9"));
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(console.lines, std::vector<std::string>{});
  const TiledDouble::Call& call = onlyCall();
  EXPECT_EQ(call.files, std::vector<std::string>{input});
  EXPECT_EQ(call.output, dir.file("vol.lda"));
  EXPECT_EQ(std::vector<float>(call.box, call.box + 6), (std::vector<float>{-1, 1, -2, 2, 0.5f, 9}));
  EXPECT_EQ(std::vector<int>(call.dims, call.dims + 3), (std::vector<int>{5, 4, 3}));
  EXPECT_EQ(call.primType, TbPrimType::INT16);
  EXPECT_FALSE(call.littleEndian);
  EXPECT_EQ(call.convertMethod, 2);
  EXPECT_EQ(call.headerBytes, 8);
  EXPECT_FALSE(call.doubleToFloat);
  EXPECT_TRUE(call.isRaw);
  EXPECT_EQ(call.tileSize, 128);
  EXPECT_EQ(call.borderSize, 3);
  EXPECT_EQ(call.samplingType, 1);
  EXPECT_FALSE(call.compressorNull);
  EXPECT_EQ(call.compressor, "zlib");
  EXPECT_FALSE(fileExists(dir.file("vol.lda")));
}

TEST_F(CommandWords, AllFourOptionsInTheirOrder) {
  TiledDouble tiled(1);
  module.samplingType.setIndex(0);
  EXPECT_EQ(convertWith({"-tilesize", "64", "-bordersize", "2", "-compressor", "zstd", "-s", "1"}).result, "1");
  const TiledDouble::Call& call = onlyCall();
  EXPECT_EQ(call.files, std::vector<std::string>{input});
  EXPECT_EQ(call.tileSize, 64);
  EXPECT_EQ(call.borderSize, 2);
  EXPECT_EQ(call.compressor, "zstd");
  EXPECT_EQ(call.samplingType, 1);
  EXPECT_EQ(std::vector<int>(call.dims, call.dims + 3), (std::vector<int>{4, 4, 2}));
}

// An option is recognised only while the options come in the order tilesize,
// bordersize, compressor, s; an earlier one after a later one stays among the
// words handed on, here as file names of a format the tiled converter takes.
TEST_F(CommandWords, AnOptionOutOfOrderStaysAmongTheWords) {
  TiledDouble tiled(1, {"DICOM"});
  CommandResult done = tcl.convert(module, {"-format", "DICOM", "-lda", dir.file("vol"), "-bordersize", "5",
                                            "-tilesize", "64", input});
  EXPECT_EQ(done.result, "1");
  {
    const TiledDouble::Call& call = onlyCall();
    EXPECT_EQ(call.borderSize, 5);
    EXPECT_EQ(call.tileSize, 128);
    EXPECT_EQ(call.files, (std::vector<std::string>{"-tilesize", "64", input}));
  }
  TiledDouble::calls().clear();
  done = tcl.convert(module, {"-format", "DICOM", "-lda", dir.file("vol"), "-s", "0", "-compressor", "lz4", input});
  EXPECT_EQ(done.result, "1");
  const TiledDouble::Call& call = onlyCall();
  EXPECT_EQ(call.samplingType, 0);
  EXPECT_EQ(call.compressor, "zlib");
  EXPECT_EQ(call.files, (std::vector<std::string>{"-compressor", "lz4", input}));
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

TEST_F(CommandWords, AValueIsReadUpToItsFirstNonDigit) {
  TiledDouble tiled(1);
  EXPECT_EQ(convertWith({"-tilesize", "64x", "-bordersize", "7.9"}).result, "1");
  EXPECT_EQ(onlyCall().tileSize, 64);
  EXPECT_EQ(onlyCall().borderSize, 7);
}

TEST_F(CommandWords, AValueWithoutANumberIsRefused) {
  TiledDouble tiled(1);
  struct Case {
    std::vector<std::string> options;
    const char* message;
  };
  const Case cases[] = {{{"-tilesize", "x64"}, "x64 is not a valid tilesize"},
                        {{"-tilesize", "32", "-bordersize", "b3"}, "b3 is not a valid bordersize"},
                        {{"-s", "fast"}, "fast is not a valid sampling type"},
                        {{"-compressor", "lz4", "-s", "-"}, "- is not a valid sampling type"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    console.lines.clear();
    const CommandResult done = convertWith(c.options);
    EXPECT_EQ(done.code, TCL_OK);
    EXPECT_EQ(done.result, "0");
    EXPECT_EQ(console.lines, std::vector<std::string>{c.message});
  }
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

TEST_F(CommandWords, AnEmptyOrZeroValueFallsBackToThePorts) {
  TiledDouble tiled(1);
  module.tileSize.setIndex(3);
  module.borderSize.setValue(0, 6);
  for (const auto& values : {std::vector<std::string>{"", "  "}, std::vector<std::string>{"0", "0"}}) {
    TiledDouble::calls().clear();
    EXPECT_EQ(convertWith({"-tilesize", values[0], "-bordersize", values[1]}).result, "1");
    EXPECT_EQ(onlyCall().tileSize, 256);
    EXPECT_EQ(onlyCall().borderSize, 6);
  }
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

// Only -1 means "the port" for the sampling type: an empty value reads as 0, "Sharp".
TEST_F(CommandWords, AnEmptySamplingValueReadsAsSharp) {
  TiledDouble tiled(1);
  ASSERT_EQ(module.samplingType.getIndex(0), 1);
  for (const char* value : {"", "  "}) {
    SCOPED_TRACE(std::string("'") + value + "'");
    TiledDouble::calls().clear();
    EXPECT_EQ(convertWith({"-s", value}).result, "1");
    EXPECT_EQ(onlyCall().samplingType, 0);
  }
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

TEST_F(CommandWords, TheCompressorWordNoneMeansNoCompression) {
  TiledDouble tiled(1);
  EXPECT_EQ(convertWith({"-compressor", "none"}).result, "1");
  EXPECT_TRUE(onlyCall().compressorNull);
  TiledDouble::calls().clear();
  EXPECT_EQ(convertWith({"-compressor", "None"}).result, "1");
  EXPECT_FALSE(onlyCall().compressorNull);
  EXPECT_EQ(onlyCall().compressor, "None");
  // Without the word, the port decides: its first entry is no compression.
  TiledDouble::calls().clear();
  module.compression.setIndex(0);
  EXPECT_EQ(convertWith({}).result, "1");
  EXPECT_TRUE(onlyCall().compressorNull);
  TiledDouble::calls().clear();
  module.compression.setIndex(3);
  EXPECT_EQ(convertWith({}).result, "1");
  EXPECT_EQ(onlyCall().compressor, "lz4");
}

// With exactly eight words the last two are an option; the input then comes
// from the module's inputs port, described by the raw-data dialog.
TEST_F(CommandWords, AnOptionAsTheLastTwoWordsLeavesTheInputToThePort) {
  TiledDouble tiled(1);
  module.inputs.setFilename(input.c_str());
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "4", "4", "2", "-ptype", "uint8", "-ndatavar", "1", "-header",
                                             "0", "-endianess", "little", "-bbox", "0", "1", "0", "1", "0", "1"});
  const CommandResult done = tcl.convert(module, {"-format", "Raw Data", "-lda", dir.file("vol"), "-tilesize", "32"});
  EXPECT_EQ(done.result, "1");
  const TiledDouble::Call& call = onlyCall();
  EXPECT_EQ(call.tileSize, 32);
  EXPECT_EQ(call.files, std::vector<std::string>{input});
  EXPECT_EQ(std::vector<int>(call.dims, call.dims + 3), (std::vector<int>{4, 4, 2}));
  EXPECT_EQ(console.lines, (std::vector<std::string>{"raw data dialog: 1 file, 32 bytes",
                                                     "answer: -dims 4 4 2 -ptype uint8 -ndatavar 1 -header 0 "
                                                     "-endianess little -bbox 0 1 0 1 0 1 (script)"}));
}

TEST_F(CommandWords, TheResultIsTheDriversResult) {
  for (int answer : {1, -1, 5}) {
    TiledDouble tiled(answer);
    EXPECT_EQ(convertWith({}).result, std::to_string(answer));
  }
  // Without the tiled converter: the disk-data conversion's result.
  EXPECT_EQ(convertWith({}).result, "1");
  EXPECT_TRUE(fileExists(dir.file("vol.lda")));
  EXPECT_EQ(tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("short")} +
                                    rawWords(4, 4, 3, "uint8", 1, 0, "little", {input}))
                .result,
            "0");
}

}  // namespace
