// The conversion driver: the output name, the choice between the host's tiled
// converter (a recording stand-in) and the disk-data conversion, the format
// label and its fallbacks, and how results are reported.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;

const std::vector<std::string> kDescribe16 = {"-dims", "9", "7", "5", "-ptype", "int16", "-ndatavar", "1", "-header",
                                               "0", "-endianess", "little", "-bbox", "0", "1", "0", "2", "0", "3"};

class Driver : public ::testing::Test {
 protected:
  void SetUp() override { writeRaw(input, volume); }

  CommandResult convert(const std::string& outName, const char* format = "Raw Data") {
    return tcl.convert(module, std::vector<std::string>{"-format", format, "-lda", outName} +
                                   rawWords(9, 7, 5, "int16", 1, 0, "little", {input}));
  }
  std::vector<std::string> messages() const { return withoutProgress(console.lines); }

  TempDir dir;
  const std::string input = dir.file("in.raw");
  const ReferenceVolume<int16_t> volume = testVolume<int16_t>(9, 7, 5);
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

// ---------------------------------------------------------------------------
// The output name.

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
    EXPECT_EQ(convert(dir.file(name.given)).result, "1");
    ASSERT_EQ(TiledDouble::calls().size(), 1u);
    EXPECT_EQ(TiledDouble::calls()[0].output, dir.file(name.named));
    EXPECT_STREQ(module.output.getFilename(), dir.file(name.named).c_str());
    EXPECT_EQ(module.output.getNum(), 1);
  }
}

TEST_F(Driver, ForcedDiskDataIsNamedKmAndNeverTiled) {
  TiledDouble tiled(1);
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1"}).code, TCL_OK);
  EXPECT_EQ(convert(dir.file("vol")).result, "1");
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.km").c_str());
  EXPECT_FALSE(fileExists(dir.file("vol.lda")));
  expectStored(dir.file("vol.km"), volume);
  EXPECT_EQ(messages(), std::vector<std::string>{});
}

// ---------------------------------------------------------------------------
// The tiled converter's result.

TEST_F(Driver, ATiledResultOfZeroIsFollowedByADiskDataConversion) {
  TiledDouble tiled(0);
  EXPECT_EQ(convert(dir.file("vol")).result, "1");
  EXPECT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(messages(), std::vector<std::string>{});  // the tiled 0 is not reported
  expectStored(dir.file("vol.lda"), volume);
}

// The description the tiled path had serves the disk-data conversion: here
// three big-endian components after a header.
TEST_F(Driver, ATiledResultOfZeroKeepsTheWholeDescription) {
  TiledDouble tiled(0);
  const auto colours = testVolume<uint16_t>(11, 6, 5, 3);
  writeRaw(dir.file("rgb.raw"), colours, 21, true);
  const CommandResult done = tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("rgb")} +
                                                     rawWords(11, 6, 5, "uint16", 3, 21, "big", {dir.file("rgb.raw")}));
  EXPECT_EQ(done.result, "1");
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].headerBytes, 21);
  EXPECT_FALSE(TiledDouble::calls()[0].littleEndian);
  expectStored(dir.file("rgb.lda"), colours);
}

TEST_F(Driver, TiledResultsOtherThanSuccessAreReported) {
  {
    TiledDouble tiled(-1);
    EXPECT_EQ(convert(dir.file("vol")).result, "-1");
    EXPECT_EQ(console.lines, std::vector<std::string>{"Conversion canceled"});
  }
  console.lines.clear();
  {
    TiledDouble tiled(5);
    EXPECT_EQ(convert(dir.file("vol")).result, "5");
    EXPECT_EQ(console.lines, std::vector<std::string>{"Unknown Error"});
  }
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

TEST_F(Driver, AFailedDiskDataConversionIsReported) {
  const CommandResult done = tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("vol")} +
                                                     rawWords(9, 7, 6, "int16", 1, 0, "little", {input}));
  EXPECT_EQ(done.result, "0");
  EXPECT_EQ(messages(), (std::vector<std::string>{"Error: io\n", "Error converting files"}));
}

// The raw description is had before the tiled converter runs; cancelled, the
// whole conversion is cancelled, without a word.
TEST_F(Driver, ACancelledRawDescriptionCancelsTheTiledPathSilently) {
  TiledDouble tiled(1);
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"cancel"});
  const CommandResult done = tcl.convert(module, {"-format", "Raw Data", "-lda", dir.file("vol"), input});
  EXPECT_EQ(done.result, "-1");
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{"raw data dialog: 1 file, 630 bytes", "answer: cancel (script)"}));
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

// The tiled converter cannot keep doubles: the user either has them made
// floats there, or keeps them in a disk-data set.
TEST_F(Driver, DoublesOnTheTiledPathAsk) {
  const auto doubles = testVolume<double>(6, 5, 4);
  writeRaw(dir.file("d.raw"), doubles);
  const std::vector<std::string> words = rawWords(6, 5, 4, "double", 1, 0, "little", {dir.file("d.raw")});
  const std::string question =
      "question: Cannot keep data as double.\nWould you like to convert data as float values (loss of precision)? "
      "[Yes/No]";
  TiledDouble tiled(1);
  // Should the host's watcher not answer, the box is closed after a while and
  // the test fails instead of waiting for ever.
  bool hung = false;
  QTimer guard;
  guard.setSingleShot(true);
  QObject::connect(&guard, &QTimer::timeout, [&hung] {
    if (QWidget* open = QApplication::activeModalWidget()) {
      hung = true;
      open->close();
    }
  });
  guard.start(20000);

  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"no"});
  EXPECT_EQ(tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("keep")} + words).result,
            "1");
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(messages(), (std::vector<std::string>{question, "answer: No (script)"}));
  expectStored(dir.file("keep.lda"), doubles);

  console.lines.clear();
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"yes"});
  EXPECT_EQ(tcl.convert(module, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("floats")} + words)
                .result,
            "1");
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_TRUE(TiledDouble::calls()[0].doubleToFloat);
  EXPECT_EQ(TiledDouble::calls()[0].primType, TbPrimType::DOUBLE);
  EXPECT_EQ(console.lines, (std::vector<std::string>{question, "answer: Yes (script)"}));
  EXPECT_FALSE(fileExists(dir.file("floats.lda")));
  EXPECT_FALSE(hung);
}

// ---------------------------------------------------------------------------
// The format label.

TEST_F(Driver, AnUnknownFormatIsTriedAsRawData) {
  EXPECT_EQ(convert(dir.file("vol"), "Foo").result, "1");
  EXPECT_EQ(messages(), std::vector<std::string>{"Don't know how to convert filetype Foo. Trying 'Raw Data'"});
  expectStored(dir.file("vol.lda"), volume);
}

TEST_F(Driver, FromThePortsAFileOfNoKnownFormatIsRawData) {
  const std::string unknown = dir.file("scan.xyz");
  writeRaw(unknown, volume);
  module.inputs.setFilename(unknown.c_str());
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 0);
  module.output.setFilename(dir.file("vol.lda").c_str());
  UxBatchAnswers::push(UxBatchAnswers::RAW, kDescribe16);
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_EQ(messages(), (std::vector<std::string>{"raw data dialog: 1 file, 630 bytes",
                                                  "answer: -dims 9 7 5 -ptype int16 -ndatavar 1 -header 0 "
                                                  "-endianess little -bbox 0 1 0 2 0 3 (script)"}));
  expectStored(dir.file("vol.lda"), volume);
}

TEST_F(Driver, FromThePortsRawFilesGetTheDialogAndTheTiledConverter) {
  TiledDouble tiled(0);
  const std::vector<std::string> slices = writeRawSlices(dir.file("s"), volume);
  std::vector<const char*> names;
  for (const std::string& name : slices) names.push_back(name.c_str());
  module.inputs.setFilenames(names.data(), static_cast<int>(names.size()));
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 5);
  module.output.setFilename(dir.file("vol").c_str());
  UxBatchAnswers::push(UxBatchAnswers::RAW, kDescribe16);
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].files, slices);
  EXPECT_EQ(TiledDouble::calls()[0].output, dir.file("vol.lda"));
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.lda").c_str());
  // The description the dialog gave serves the disk-data conversion too.
  EXPECT_EQ(console.count("raw data dialog:"), 1);
  expectStored(dir.file("vol.lda"), volume);
}

}  // namespace
