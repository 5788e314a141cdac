// The conversion driver: the output name, the choice between the host's tiled
// converter (a recording stand-in) and the disk-data conversion, the format
// label and its fallbacks, and how results are reported.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ConvertTestSupport.h"

namespace {

using namespace convert_test;

const Words kDescribe16 = {"-dims", "9", "7", "5", "-ptype", "int16", "-ndatavar", "1", "-header",
                           "0", "-endianess", "little", "-bbox", "0", "1", "0", "2", "0", "3"};

class Driver : public ConvertTest {
 protected:
  void SetUp() override { writeRaw(input, volume); }

  CommandResult convertTo(const std::string& outName, const char* format = "Raw Data") {
    return convert(Words{"-format", format, "-lda", outName} + rawWords(9, 7, 5, "int16", 1, 0, "little", {input}));
  }

  const std::string input = dir.file("in.raw");
  const ReferenceVolume<int16_t> volume = testVolume<int16_t>(9, 7, 5);
};

TEST_F(Driver, TheOutputIsTheGivenNameWithTheLdaExtension) {
  TiledDouble tiled(1);
  const struct {
    const char* given;
    const char* named;
  } names[] = {{"vol", "vol.lda"}, {"vol.raw", "vol.lda"}, {"vol.lda", "vol.lda"}, {"vol.km", "vol.lda"},
               {"set.d/vol", "set.d/vol.lda"}, {"a.b.c", "a.b.lda"}};
  for (const auto& name : names) {
    SCOPED_TRACE(name.given);
    TiledDouble::calls().clear();
    EXPECT_EQ(convertTo(dir.file(name.given)).result, "1");
    ASSERT_EQ(TiledDouble::calls().size(), 1u);
    EXPECT_EQ(TiledDouble::calls()[0].output, dir.file(name.named));
    EXPECT_STREQ(module.output.getFilename(), dir.file(name.named).c_str());
    EXPECT_EQ(module.output.getNum(), 1);
  }
}

// The tiled converter gets the whole description and the ports' options. Its
// result 0 asks for a disk-data conversion, which the same description serves;
// other results are the command's, reported unless they are success.
TEST_F(Driver, TheTiledConvertersResult) {
  const auto colours = testVolume<uint16_t>(11, 6, 5, 3);
  const std::string rgb = dir.file("rgb.raw");
  writeRaw(rgb, colours, 21, true);
  const struct {
    int answer;
    const char* result;
    Lines messages;
  } cases[] = {{1, "1", {}}, {0, "1", {}}, {-1, "-1", {"Conversion canceled"}}, {5, "5", {"Unknown Error"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answer);
    console.lines.clear();
    TiledDouble tiled(c.answer);
    const std::string out = "rgb" + std::to_string(c.answer);
    EXPECT_EQ(convert(Words{"-format", "Raw Data", "-lda", dir.file(out)} +
                      rawWords(11, 6, 5, "uint16", 3, 21, "big", {rgb}, {"-1", "1", "-2", "2", "0.5", "9"}))
                  .result,
              c.result);
    EXPECT_EQ(console.lines, c.messages);
    ASSERT_EQ(TiledDouble::calls().size(), 1u);
    const TiledDouble::Call& call = TiledDouble::calls()[0];
    EXPECT_EQ(call.files, Words{rgb});
    EXPECT_EQ(call.output, dir.file(out + ".lda"));
    EXPECT_EQ(call.description, "box -1 1 -2 2 0.5 9 dims 11 6 5 type uint16 big method 2 header 21 raw");
    EXPECT_EQ(call.options, "tile 128 border 3 sampling 1 compressor zlib");
    if (c.answer == 0) expectStored(dir.file(out + ".lda"), colours, {-1, 1, -2, 2, 0.5f, 9});
  }
  for (const char* none : {"rgb1.lda", "rgb-1.lda", "rgb5.lda"}) EXPECT_FALSE(fileExists(dir.file(none))) << none;
}

// The raw description is had before the tiled converter runs; cancelled, the
// whole conversion is cancelled, without a word.
TEST_F(Driver, ACancelledRawDescriptionCancelsTheTiledPathSilently) {
  TiledDouble tiled(1);
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"cancel"});
  EXPECT_EQ(convert({"-format", "Raw Data", "-lda", dir.file("vol"), input}).result, "-1");
  EXPECT_EQ(console.lines, (Lines{"raw data dialog: 1 file, 630 bytes", "answer: cancel (script)"}));
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(madeFiles({input}), std::set<std::string>{});
}

// The tiled converter cannot keep doubles: the user either has them made
// floats there, or keeps them in a disk-data set.
TEST_F(Driver, DoublesOnTheTiledPathAsk) {
  const auto doubles = testVolume<double>(6, 5, 4);
  writeRaw(dir.file("d.raw"), doubles);
  TiledDouble tiled(1);
  for (const char* answer : {"No", "Yes"}) {
    SCOPED_TRACE(answer);
    console.lines.clear();
    UxBatchAnswers::push(UxBatchAnswers::QUESTION, {answer});
    const std::string out = dir.file(answer);
    EXPECT_EQ(convert(Words{"-format", "Raw Data", "-lda", out} +
                      rawWords(6, 5, 4, "double", 1, 0, "little", {dir.file("d.raw")}))
                  .result,
              "1");
    EXPECT_EQ(console.lines, (Lines{"question: Cannot keep data as double.\nWould you like to convert data as float "
                                    "values (loss of precision)? [Yes/No]",
                                    std::string("answer: ") + answer + " (script)"}));
    EXPECT_EQ(TiledDouble::calls().size(), *answer == 'Y' ? 1u : 0u);
  }
  expectStored(dir.file("No.lda"), doubles);
  EXPECT_EQ(TiledDouble::calls()[0].description, "box 0 1 0 2 0 3 dims 6 5 4 type double little method 2 header 0 "
                                                 "toFloat raw");
  EXPECT_FALSE(fileExists(dir.file("Yes.lda")));
}

// The format label.

TEST_F(Driver, AnUnknownFormatIsTriedAsRawData) {
  EXPECT_EQ(convertTo(dir.file("vol"), "Foo").result, "1");
  EXPECT_EQ(console.lines, Lines{"Don't know how to convert filetype Foo. Trying 'Raw Data'"});
  expectStored(dir.file("vol.lda"), volume);
}

TEST_F(Driver, FromThePortsAFileOfNoKnownFormatIsRawData) {
  const std::string unknown = dir.file("scan.xyz");
  writeRaw(unknown, volume);
  EXPECT_EQ(convertFromPorts({unknown}, "vol", UxBatchAnswers::RAW, kDescribe16), 1);
  EXPECT_EQ(module.inputs.getNumFormatLabels(), 0);
  EXPECT_EQ(console.lines, (Lines{"raw data dialog: 1 file, 630 bytes",
                                  "answer: -dims 9 7 5 -ptype int16 -ndatavar 1 -header 0 -endianess little "
                                  "-bbox 0 1 0 2 0 3 (script)"}));
  expectStored(dir.file("vol.lda"), volume);
}

// The description the dialog gave for the tiled converter serves the
// disk-data conversion too.
TEST_F(Driver, FromThePortsRawFilesGetTheDialogAndTheTiledConverter) {
  TiledDouble tiled(0);
  const Words slices = writeRawSlices(dir.file("s"), volume);
  EXPECT_EQ(convertFromPorts(slices, "vol", UxBatchAnswers::RAW, kDescribe16), 1);
  EXPECT_EQ(module.inputs.getNumFormatLabels(), 5);
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].files, slices);
  EXPECT_EQ(TiledDouble::calls()[0].output, dir.file("vol.lda"));
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.lda").c_str());
  EXPECT_EQ(console.count("raw data dialog:"), 1);
  expectStored(dir.file("vol.lda"), volume);
}

}  // namespace
