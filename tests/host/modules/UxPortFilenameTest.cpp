// File name ports on real files: the names a script sets, the formats found
// for them, and the dialog a batch run answers from its queue.
#include "host/modules/UxPortFilename.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ObjectCommandRunner.h"
#include "host/dialogs/UxBatchAnswers.h"
#include "host/modules/UxModule.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

class FilesModule : public UxModule {
 public:
  FilesModule()
      : inputs(this, "inputs", UxPortFilename::MULTI_FILE),
        output(this, "output", UxPortFilename::ANY_FILE),
        header(this, "header", UxPortFilename::EXISTING_FILE) {}
  UxPortFilename inputs;
  UxPortFilename output;
  UxPortFilename header;
};

class PortFilenameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeWholeFile(dir.file("slice0.png"), std::string("\x89PNG\r\n\x1A\n", 8) + "....");
    writeWholeFile(dir.file("slice1.png"), std::string("\x89PNG\r\n\x1A\n", 8) + "....");
    writeWholeFile(dir.file("notes.txt"), "nothing an image reader wants");
    writeWholeFile(dir.file("volume.raw"), std::string(512, '\0'));
  }
  int run(const std::vector<std::string>& words) { return tcl.run(module, words); }
  std::string result() const { return tcl.result(); }
  std::string file(const char* name) const { return dir.file(name); }

  TempDir dir;
  ConsoleCapture console;
  ObjectCommandRunner tcl;
  FilesModule module;
};

TEST_F(PortFilenameTest, EveryRecognisedFileGetsItsLabelInTheSameOrder) {
  ASSERT_EQ(run({"m", "inputs", "setValue", file("slice0.png"), file("volume.raw"),
                 file("slice1.png")}),
            TCL_OK);
  EXPECT_EQ(module.inputs.getNum(), 3);
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 3);
  EXPECT_STREQ(module.inputs.getFormatLabel(0), "PNG");
  EXPECT_STREQ(module.inputs.getFormatLabel(1), "Raw Data");
  ASSERT_EQ(run({"m", "inputs", "getFormats"}), TCL_OK);
  EXPECT_EQ(result(), "PNG {Raw Data} PNG");
  EXPECT_TRUE(module.inputs.hasNewValue());
}

TEST_F(PortFilenameTest, LabelsStopBeforeTheFirstFileNotRecognised) {
  ASSERT_EQ(run({"m", "inputs", "setValue", file("slice0.png"), file("notes.txt"),
                 file("slice1.png")}),
            TCL_OK);
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 1) << "a label must never belong to another file";
  EXPECT_STREQ(module.inputs.getFormatLabel(0), "PNG");

  ASSERT_EQ(run({"m", "inputs", "setValue", file("notes.txt"), file("slice1.png")}), TCL_OK);
  EXPECT_EQ(module.inputs.getNum(), 2);
  EXPECT_EQ(module.inputs.getNumFormatLabels(), 0);
  ASSERT_EQ(run({"m", "inputs", "getFormats"}), TCL_OK);
  EXPECT_EQ(result(), "");
}

TEST_F(PortFilenameTest, NamesAreAListEvenWithBlanksInThem) {
  const std::string spaced = file("with blank.raw");
  writeWholeFile(spaced, "x");
  ASSERT_EQ(run({"m", "inputs", "setValue", spaced, file("volume.raw")}), TCL_OK);
  ASSERT_EQ(run({"m", "inputs", "getValue"}), TCL_OK);
  EXPECT_EQ(result(), "{" + spaced + "} " + file("volume.raw"));
  EXPECT_STREQ(module.inputs.getFilename(0), spaced.c_str());
  EXPECT_STREQ(module.inputs.getFilename(2), "");
  EXPECT_EQ(module.inputs.getNum(), 2);
}

TEST_F(PortFilenameTest, SingleNamePortsTakeExactlyOneNameAndEmptyClears) {
  ASSERT_EQ(run({"m", "output", "setValue", file("out.uxdd")}), TCL_OK);
  EXPECT_EQ(run({"m", "output", "setValue", file("a.raw"), file("b.raw")}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: expected NAME");
  EXPECT_EQ(run({"m", "output", "setValue"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: expected NAME");
  EXPECT_STREQ(module.output.getFilename(), file("out.uxdd").c_str()) << "a refusal changes nothing";
  EXPECT_EQ(module.output.getNumFormatLabels(), 0) << "an unknown extension of a missing file";

  ASSERT_EQ(run({"m", "output", "setValue", ""}), TCL_OK);
  EXPECT_EQ(module.output.getNum(), 0);
  ASSERT_EQ(run({"m", "output", "getValue"}), TCL_OK);
  EXPECT_EQ(result(), "");
}

TEST_F(PortFilenameTest, MissingFilesAreTakenAsGivenInEveryMode) {
  ASSERT_EQ(run({"m", "header", "setValue", file("missing.raw")}), TCL_OK);
  EXPECT_STREQ(module.header.getFilename(), file("missing.raw").c_str());
  EXPECT_STREQ(module.header.getFormatLabel(0), "Raw Data");
  ASSERT_EQ(run({"m", "inputs", "setValue"}), TCL_OK) << "a multi-file port may be emptied";
  EXPECT_EQ(module.inputs.getNum(), 0);
}

TEST_F(PortFilenameTest, SettingFromCodeReplacesTheListAndRecognisesAgain) {
  module.inputs.setFilename(file("slice0.png").c_str(), nullptr);
  ASSERT_EQ(module.inputs.getNum(), 1);
  EXPECT_STREQ(module.inputs.getFormatLabel(0), "PNG");
  module.inputs.setFilename(file("notes.txt").c_str(), "PNG");  // the hint does not overrule the file
  EXPECT_EQ(module.inputs.getNumFormatLabels(), 0);
  module.inputs.setFilename(nullptr, nullptr);
  EXPECT_EQ(module.inputs.getNum(), 0);
  EXPECT_FALSE(module.inputs.hasNewValue());

  const char* two[] = {"a.raw", "b.raw"};
  module.output.setFilenames(two, 2);
  EXPECT_EQ(module.output.getNum(), 1) << "a single-name port keeps the first";
}

TEST_F(PortFilenameTest, FileTypesAreKeptInOrderUntilCleared) {
  module.inputs.registerFileType("Raw Data", "raw", 0);
  module.inputs.registerFileType("PNG", "png", 0);
  ASSERT_EQ(module.inputs.numFileTypes(), 2);
  EXPECT_STREQ(module.inputs.fileTypeLabel(1), "PNG");
  EXPECT_STREQ(module.inputs.fileTypeExtension(0), "raw");
  EXPECT_STREQ(module.inputs.fileTypeLabel(2), "");
  module.inputs.clearFileTypes();
  EXPECT_EQ(module.inputs.numFileTypes(), 0);
}

TEST_F(PortFilenameTest, BrowseTakesTheQueuedFileAnswerOrKeepsTheNamesWhenCancelled) {
  module.inputs.setFilename(file("volume.raw").c_str());
  UxBatchAnswers::push(UxBatchAnswers::FILE, {file("slice0.png"), file("slice1.png")});
  ASSERT_EQ(run({"m", "inputs", "browse"}), TCL_OK);
  EXPECT_EQ(result(), "1");
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 2);
  EXPECT_TRUE(module.inputs.hasNewValue());
  EXPECT_TRUE(console.saw("file dialog \"inputs\" (open several)"));

  ASSERT_EQ(run({"m", "inputs", "browse"}), TCL_OK);
  EXPECT_EQ(result(), "0");
  EXPECT_EQ(module.inputs.getNum(), 2);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
}

}  // namespace
