// File name ports on real files: the names a script sets, the formats found
// for them, and the dialog a batch run answers from its queue.
#include "host/modules/UxPortFilename.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/modules/UxModule.h"
#include "support/ConsoleCapture.h"
#include "support/ObjectCommandRunner.h"
#include "support/TempDir.h"

namespace {

class FilesModule : public UxModule {
 public:
  FilesModule()
      : inputs(this, "inputs", UxPortFilename::MULTI_FILE),
        output(this, "output", UxPortFilename::ANY_FILE),
        header(this, "header", UxPortFilename::EXISTING_FILE) {}
  UxPortFilename inputs, output, header;
};

class PortFilenameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeWholeFile(file("slice0.png"), std::string("\x89PNG\r\n\x1A\n", 8) + "....");
    writeWholeFile(file("slice1.png"), std::string("\x89PNG\r\n\x1A\n", 8) + "....");
    writeWholeFile(file("notes.txt"), "nothing an image reader wants");
    writeWholeFile(file("volume.raw"), std::string(512, '\0'));
    writeWholeFile(file("with blank.raw"), "x");
  }
  std::string file(const char* name) const { return dir.file(name); }

  TempDir dir;
  ConsoleCapture console;
  ObjectCommandRunner tcl;
  FilesModule module;
};

// Each recognised file gets its format's label, in order, up to the first file
// not recognised (a label must never belong to another file); names with
// blanks stay one list element; missing files are taken as given.
TEST_F(PortFilenameTest, NamesSetByWordsAndTheirFormats) {
  const struct {
    const char* port;
    std::vector<std::string> names;
    int code;
    const char* value;  // getValue with the folder as "D"; or the refusal
    const char* formats;
  } cases[] = {{"inputs", {"slice0.png", "volume.raw", "slice1.png"}, TCL_OK, "D/slice0.png D/volume.raw D/slice1.png",
                "PNG {Raw Data} PNG"},
               {"inputs", {"slice0.png", "notes.txt", "slice1.png"}, TCL_OK, "D/slice0.png D/notes.txt D/slice1.png", "PNG"},
               {"inputs", {"notes.txt", "slice1.png"}, TCL_OK, "D/notes.txt D/slice1.png", ""},
               {"inputs", {"with blank.raw", "volume.raw"}, TCL_OK, "{D/with blank.raw} D/volume.raw", "{Raw Data} {Raw Data}"},
               {"inputs", {}, TCL_OK, "", ""},
               {"header", {"missing.raw"}, TCL_OK, "D/missing.raw", "{Raw Data}"},
               {"output", {"out.uxdd"}, TCL_OK, "D/out.uxdd", ""},
               {"output", {"a.raw", "b.raw"}, TCL_ERROR, "setValue: expected NAME", ""},
               {"output", {}, TCL_ERROR, "setValue: expected NAME", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    std::vector<std::string> words = {"m", c.port, "setValue"};
    for (const std::string& name : c.names) words.push_back(file(name.c_str()));
    EXPECT_EQ(tcl.run(module, words), c.code);
    if (c.code == TCL_ERROR) {
      EXPECT_EQ(tcl.result(), c.value);
      continue;
    }
    ASSERT_EQ(tcl.run(module, {"m", c.port, "getValue"}), TCL_OK);
    std::string value = tcl.result();
    for (size_t at; (at = value.find(dir.path())) != std::string::npos;) value.replace(at, dir.path().size(), "D");
    EXPECT_EQ(value, c.value);
    ASSERT_EQ(tcl.run(module, {"m", c.port, "getFormats"}), TCL_OK);
    EXPECT_EQ(tcl.result(), c.formats);
  }
  EXPECT_STREQ(module.output.getFilename(), file("out.uxdd").c_str()) << "a refusal changes nothing";
  EXPECT_TRUE(module.inputs.hasNewValue());
  ASSERT_EQ(tcl.run(module, {"m", "output", "setValue", ""}), TCL_OK);
  EXPECT_EQ(module.output.getNum(), 0);
  EXPECT_STREQ(module.inputs.getFilename(2), "");
}

TEST_F(PortFilenameTest, BrowseTakesTheQueuedFileAnswerOrKeepsTheNamesWhenCancelled) {
  module.inputs.setFilename(file("volume.raw").c_str());
  UxBatchAnswers::push(UxBatchAnswers::FILE, {file("slice0.png"), file("slice1.png")});
  ASSERT_EQ(tcl.run(module, {"m", "inputs", "browse"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "1");
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 2);
  EXPECT_TRUE(module.inputs.hasNewValue());
  EXPECT_TRUE(console.saw("file dialog \"inputs\" (open several)"));
  ASSERT_EQ(tcl.run(module, {"m", "inputs", "browse"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "0");
  EXPECT_EQ(module.inputs.getNum(), 2);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
}

}  // namespace
