// The raw-data, image and file dialogs in a batch run: what each takes from
// its queue of script answers, what it falls back to, and what it tells the
// console.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "host/dialogs/QxImReadDialog.h"
#include "host/dialogs/UxBatchAnswers.h"
#include "host/dialogs/UxFileDialog.h"
#include "host/dialogs/UxReadRawDialog.h"
#include "support/ConsoleCapture.h"

namespace {

using Words = std::vector<std::string>;
using Lines = std::vector<std::string>;

const char kColourStack[] = "image dialog: stack of 64 x 32 x 5, 3 channels, first image /data/stack/s000.png";
const char kRawFiles[] = "raw data dialog: 2 files, 1048576 bytes";
const char kRawDefaults[] = "dims 0 0 0 uint8 x1 header 0 little box 0 1 0 1 0 1";

class BatchDialogs : public ::testing::Test {
 protected:
  void SetUp() override {
    raw.setNumFiles(2);
    raw.setFilesize(1048576);
    setImageDims(image, 3);
    file.setDialogUsage(UxFileDialog::SAVE_FILE);
    file.setTitle("Create Large Disk Data");
  }
  static void setImageDims(QxImReadDialog& dialog, int channels) {
    int dims[3] = {64, 32, 5};
    dialog.setDims(dims, channels, "/data/stack/s000.png", 0, nullptr, 0, 1);
  }
  static std::string imageState(const QxImReadDialog& dialog) {
    float box[6];
    dialog.getBox(box);
    std::ostringstream state;
    state << "box";
    for (float b : box) state << ' ' << b;
    state << " channel " << dialog.getConvertMethod();
    return state.str();
  }
  std::string rawState() const {
    int dims[3];
    float box[6];
    raw.getDims(dims);
    raw.getMinMax(box);
    std::ostringstream state;
    state << "dims " << dims[0] << ' ' << dims[1] << ' ' << dims[2] << ' ' << raw.getPrimType().name() << " x"
          << raw.getNDataVar() << " header " << raw.getHeaderBytes() << (raw.isBigEndian() ? " big" : " little")
          << " box";
    for (float b : box) state << ' ' << b;
    return state.str();
  }

  // Each dialog with an answer it accepts and one that cancels it.
  struct Dialog {
    const char* name;
    int kind;
    Words accepted, cancel;
    std::function<int()> exec;  // 1 when accepted
    std::string said;           // what it says when it opens
    std::function<std::string()> state;
    std::string stateAfterCancel;
  };
  std::vector<Dialog> dialogs() {
    return {{"raw", UxBatchAnswers::RAW, {"-dims", "8", "8", "8"}, {"Cancel"},
             [this] { return raw.exec() == UxReadRawDialog::Accepted ? 1 : 0; }, kRawFiles, [this] { return rawState(); },
             kRawDefaults},
            {"image", UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "5"}, {"cancel"},
             [this] { return image.exec(); }, kColourStack, [this] { return imageState(image); },
             "box 1 2 3 4 5 6 channel 5"},
            {"file", UxBatchAnswers::FILE, {"/tmp/new.km"}, {}, [this] { return file.postAndWait(); },
             "file dialog \"Create Large Disk Data\" (save)", [this] { return std::string(file.getFileName(0)); }, ""}};
  }

  ConsoleCapture console;
  UxReadRawDialog raw{0};
  QxImReadDialog image{nullptr, "imageStack", true, Qt::WindowFlags()};
  UxFileDialog file;
};

// A cancelling answer, no answer and another kind's answer all cancel; so does
// the interactive flag without a terminal to read. Only the image dialog keeps
// the choice made before.
TEST_F(BatchDialogs, CancelAndNoAnswerCancel) {
  for (const Dialog& d : dialogs()) {
    SCOPED_TRACE(d.name);
    UxBatchAnswers::push(d.kind, d.accepted);
    ASSERT_EQ(d.exec(), 1);
    console.lines.clear();
    UxBatchAnswers::push(d.kind, d.cancel);
    UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"yes"});
    EXPECT_EQ(d.exec(), 0);
    EXPECT_EQ(d.exec(), 0);
    Lines said = {d.said, "answer: cancel (script)", d.said, "answer: cancel (default)"};
    if (!isatty(STDIN_FILENO)) {
      UxBatchAnswers::setInteractive(true);
      EXPECT_EQ(d.exec(), 0);
      UxBatchAnswers::setInteractive(false);
      said.insert(said.end(), {d.said, "answer: cancel (default)"});
    }
    EXPECT_EQ(console.lines, said);
    EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::QUESTION), 1) << "another kind's answer is not taken";
    EXPECT_EQ(d.state(), d.stateAfterCancel);
    UxBatchAnswers::clear();
  }
}

// Answers that cannot be read say why and cancel, each used up; the raw-data
// dialog then holds its defaults, the image dialog its earlier choice.
TEST_F(BatchDialogs, MalformedAnswersSayWhyThenCancel) {
  const struct { int kind; Words words; std::string why; } cases[] = {
      {UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "1", "0"}, "-bbox expects six numbers, got 5"},
      {UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "zero", "1", "0", "1"}, "-bbox expects six numbers: \"zero\" is not a number"},
      {UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "1", "0", "-channel", "2"}, "-bbox expects six numbers: \"-channel\" is not a number"},
      {UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "inf", "0", "1"}, "-bbox expects six numbers: \"inf\" is not a number"},
      {UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "9", "1", "0", "1"}, "-bbox: the y minimum lies above the maximum"},
      {UxBatchAnswers::IMAGE, {"-channel", "7"}, "-channel expects one of 0 1 2 3 4 5 10, got \"7\""},
      {UxBatchAnswers::IMAGE, {"-channel", "2x"}, "-channel expects one of 0 1 2 3 4 5 10, got \"2x\""},
      {UxBatchAnswers::IMAGE, {"-channel"}, "-channel expects one of 0 1 2 3 4 5 10, got \"\""},
      {UxBatchAnswers::IMAGE, {"-channel", "2", "-channel", "3"}, "-channel given twice"},
      {UxBatchAnswers::IMAGE, {"--channel", "2"}, "unknown word \"--channel\": expected -bbox, -channel or cancel"},
      {UxBatchAnswers::IMAGE, {"cancel", "-channel", "2"}, "cancel must stand alone"},
      {UxBatchAnswers::RAW, {"-dims", "8", "8"}, "-dims needs 3 values"},
      {UxBatchAnswers::RAW, {"-dims", "8", "0", "8"}, "-dims: bad value \"0\": expected an integer of 1 or more"},
      {UxBatchAnswers::RAW, {"-ptype", "uint12"},
       "-ptype: bad value \"uint12\": expected uint8, int16, uint16, int32, float or double"},
      {UxBatchAnswers::RAW, {"-header", "-4"}, "-header: bad value \"-4\": expected an integer of 0 or more"},
      {UxBatchAnswers::RAW, {"-ndatavar", "2x"}, "-ndatavar: bad value \"2x\": expected an integer of 1 or more"},
      {UxBatchAnswers::RAW, {"-endianess", "middle"}, "-endianess: bad value \"middle\": expected little or big"},
      {UxBatchAnswers::RAW, {"-bbox", "0", "1", "0", "1", "0", "nan"}, "-bbox: bad value \"nan\": expected a number"},
      {UxBatchAnswers::RAW, {"-ptype", "uint8", "-size", "4"}, "unknown option \"-size\""},
      {UxBatchAnswers::RAW, {"cancel", "-dims", "1", "1", "1"}, "unknown option \"cancel\""}};
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"});
  ASSERT_EQ(image.exec(), 1);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    console.lines.clear();
    UxBatchAnswers::push(c.kind, c.words);
    std::string words;
    for (const std::string& word : c.words) words += (words.empty() ? "" : " ") + word;
    if (c.kind == UxBatchAnswers::IMAGE) {
      EXPECT_EQ(image.exec(), 0);
      EXPECT_EQ(console.lines, (Lines{kColourStack, "image dialog: " + c.why, "answer: cancel (script, malformed)"}));
    } else {
      EXPECT_EQ(raw.exec(), UxReadRawDialog::Rejected);
      EXPECT_EQ(console.lines, (Lines{kRawFiles, "raw data answer \"" + words + "\": " + c.why,
                                      "answer: cancel (script, the answer could not be read)"}));
      EXPECT_EQ(rawState(), kRawDefaults);
    }
    EXPECT_EQ(UxBatchAnswers::pending(c.kind), 0);
  }
  EXPECT_EQ(imageState(image), "box 1 2 3 4 5 6 channel 3");
}

// The raw-data dialog: options in any order, each exec starting from the
// defaults again.

TEST_F(BatchDialogs, TheRawDataDialogTakesOptionsInAnyOrder) {
  const struct {
    Words answer;
    std::string state;
  } cases[] = {{{"-endianess", "big", "-bbox", "-1", "1", "-2", "2", "0", "0.5", "-ptype", "uint16", "-header", "512",
                 "-ndatavar", "3", "-dims", "64", "32", "16"},
                "dims 64 32 16 uint16 x3 header 512 big box -1 1 -2 2 0 0.5"},
               {{"-dims", "8", "8", "8", "-ptype", "FLOAT"}, "dims 8 8 8 float x1 header 0 little box 0 1 0 1 0 1"},
               {{"-ndatavar", "2", "-endianness", "big"}, "dims 0 0 0 uint8 x2 header 0 big box 0 1 0 1 0 1"},
               {{"-header", "4"}, "dims 0 0 0 uint8 x1 header 4 little box 0 1 0 1 0 1"},
               {{}, kRawDefaults}};
  for (const auto& c : cases) {
    UxBatchAnswers::push(UxBatchAnswers::RAW, c.answer);
    ASSERT_EQ(raw.exec(), UxReadRawDialog::Accepted);
    EXPECT_EQ(rawState(), c.state);
  }
  EXPECT_EQ(console.lines[0], kRawFiles);
  EXPECT_EQ(console.lines[1], "answer: -dims 64 32 16 -ptype uint16 -ndatavar 3 -header 512 -endianess big "
                              "-bbox -1 1 -2 2 0 0.5 (script)");
  EXPECT_EQ(console.lines.back(), "answer: -dims 0 0 0 -ptype uint8 -ndatavar 1 -header 0 -endianess little "
                                  "-bbox 0 1 0 1 0 1 (script)");
  raw.setNumFiles(1);
  raw.setFilesize(5000000000LL);
  raw.exec();
  EXPECT_EQ(console.lines.end()[-2], "raw data dialog: 1 file, 5000000000 bytes");
}

}  // namespace
