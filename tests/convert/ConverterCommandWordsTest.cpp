// The words of the module's convertToDiskData command: the fixed words at the
// front, the conversion options after the output name, and what reaches the
// host's tiled converter (a recording stand-in) from them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ConvertTestSupport.h"

namespace {

using namespace convert_test;

const char* const kUsage =
    "Usage:\n"
    "-format 'Raw Data' -lda ldadirectory -dims x y z -ptype p -ndatavar d -header h -endianess e "
    "-bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format 'Raw Data' -lda ldadirectory -tilesize ts -bordersize bs -compressor cs -dims x y z "
    "-ptype p -ndatavar d -header h -endianess e -bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format imageformat -lda ldadirectory -bbox b1 b2 b3 b4 b5 b6 -channel c FILE(S)";

class CommandWords : public ConvertTest {
 protected:
  void SetUp() override { writeRaw(input, testVolume<uint8_t>(4, 4, 2)); }

  const std::string input = dir.file("in.raw");
  const std::string out = dir.file("vol");
};

// Words the command refuses before anything is converted, with the output
// port set or not (the inputs port always names the input).
TEST_F(CommandWords, TheFixedWordsAreRefusedWithTheirReason) {
  const struct {
    Words words;
    bool outputPort;
    const char* message;
  } cases[] = {{{"-Format", "Raw Data", "-lda", out, input}, false, kUsage},
               {{"-format"}, false, "no format specified"},
               {{"-format", "Raw Data", "-LDA", out, input}, false, kUsage},
               {{"-format", "Raw Data", "-lda"}, false, "no lda directory specified"},
               {{"-format", "Raw Data"}, false, "please specify output"},
               {{"-format", "Raw Data"}, true, "please specify input and output"},
               {{"-format", "Raw Data", "-lda", out, "-tilesize", "x64", input}, false, "x64 is not a valid tilesize"},
               {{"-format", "Raw Data", "-lda", out, "-tilesize", "32", "-bordersize", "b3", input}, false,
                "b3 is not a valid bordersize"},
               {{"-format", "Raw Data", "-lda", out, "-s", "fast", input}, false, "fast is not a valid sampling type"},
               {{"-format", "Raw Data", "-lda", out, "-compressor", "lz4", "-s", "-", input}, false,
                "- is not a valid sampling type"}};
  TiledDouble tiled(1);
  module.inputs.setFilename(input.c_str());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message + (": " + c.words[0]));
    console.lines.clear();
    module.output.setFilename(c.outputPort ? (out + ".lda").c_str() : "");
    const CommandResult done = convert(c.words);
    EXPECT_EQ(done.code, TCL_OK);
    EXPECT_EQ(done.result, "0");
    EXPECT_EQ(console.lines, Lines{c.message});
  }
  EXPECT_EQ(convert({}).code, TCL_ERROR);
  EXPECT_EQ(console.lines.back(), kUsage);
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(madeFiles({input}), std::set<std::string>{});
}

// Option values, read up to their first non-digit; an empty or zero size
// falls back to the port, an empty sampling value reads as 0 ("Sharp"), and
// the compressor word "none" means no compression.
TEST_F(CommandWords, OptionValues) {
  module.tileSize.setIndex(3);
  module.borderSize.setValue(0, 6);
  const struct {
    Words options;
    int compressionPort;
    const char* settings;
  } cases[] = {{{"-tilesize", "64", "-bordersize", "2", "-compressor", "zstd", "-s", "0"}, 1,
                "tile 64 border 2 sampling 0 compressor zstd"},
               {{}, 1, "tile 256 border 6 sampling 1 compressor zlib"},
               {{"-tilesize", "64x", "-bordersize", "7.9"}, 1, "tile 64 border 7 sampling 1 compressor zlib"},
               {{"-tilesize", "", "-bordersize", "  "}, 1, "tile 256 border 6 sampling 1 compressor zlib"},
               {{"-tilesize", "0", "-bordersize", "0"}, 1, "tile 256 border 6 sampling 1 compressor zlib"},
               {{"-s", ""}, 1, "tile 256 border 6 sampling 0 compressor zlib"},
               {{"-compressor", "none"}, 1, "tile 256 border 6 sampling 1 compressor (null)"},
               {{"-compressor", "None"}, 1, "tile 256 border 6 sampling 1 compressor None"},
               {{}, 0, "tile 256 border 6 sampling 1 compressor (null)"},
               {{}, 3, "tile 256 border 6 sampling 1 compressor lz4"}};
  TiledDouble tiled(1);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.settings);
    TiledDouble::calls().clear();
    module.compression.setIndex(c.compressionPort);
    EXPECT_EQ(convert(Words{"-format", "Raw Data", "-lda", out} + c.options +
                      rawWords(4, 4, 2, "uint8", 1, 0, "little", {input}))
                  .result,
              "1");
    ASSERT_EQ(TiledDouble::calls().size(), 1u);
    EXPECT_EQ(TiledDouble::calls()[0].options, c.settings);
    EXPECT_EQ(TiledDouble::calls()[0].files, Words{input});
  }
  EXPECT_EQ(console.lines, Lines{});
}

// An option is recognised only while the options come in the order tilesize,
// bordersize, compressor, s; an earlier one after a later one stays among the
// words handed on, here as file names of a format the tiled converter takes.
TEST_F(CommandWords, AnOptionOutOfOrderStaysAmongTheWords) {
  TiledDouble tiled(1, {"DICOM"});
  const struct {
    Words options;
    const char* settings;
  } cases[] = {{{"-bordersize", "5", "-tilesize", "64"}, "tile 128 border 5 sampling 1 compressor zlib"},
               {{"-s", "0", "-compressor", "lz4"}, "tile 128 border 3 sampling 0 compressor zlib"}};
  for (const auto& c : cases) {
    TiledDouble::calls().clear();
    EXPECT_EQ(convert(Words{"-format", "DICOM", "-lda", out} + c.options + Words{input}).result, "1");
    ASSERT_EQ(TiledDouble::calls().size(), 1u);
    EXPECT_EQ(TiledDouble::calls()[0].options, c.settings);
    EXPECT_EQ(TiledDouble::calls()[0].files, (Words{c.options[2], c.options[3], input}));
  }
  EXPECT_EQ(console.lines, Lines{});
}

// With exactly eight words the last two are an option; the input then comes
// from the module's inputs port, described by the raw-data dialog.
TEST_F(CommandWords, AnOptionAsTheLastTwoWordsLeavesTheInputToThePort) {
  TiledDouble tiled(1);
  module.inputs.setFilename(input.c_str());
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "4", "4", "2", "-bbox", "0", "1", "0", "1", "0", "1"});
  EXPECT_EQ(convert({"-format", "Raw Data", "-lda", out, "-tilesize", "32"}).result, "1");
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].options, "tile 32 border 3 sampling 1 compressor zlib");
  EXPECT_EQ(TiledDouble::calls()[0].files, Words{input});
  EXPECT_EQ(TiledDouble::calls()[0].description, "box 0 1 0 1 0 1 dims 4 4 2 type uint8 little method 2 header 0 raw");
  EXPECT_EQ(console.lines, (Lines{"raw data dialog: 1 file, 32 bytes",
                                  "answer: -dims 4 4 2 -ptype uint8 -ndatavar 1 -header 0 "
                                  "-endianess little -bbox 0 1 0 1 0 1 (script)"}));
}

}  // namespace
