#include "host/dialogs/QxImReadDialog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "support/ConsoleCapture.h"
#include "host/dialogs/UxBatchAnswers.h"

namespace {

const char kColourStack[] = "image dialog: stack of 64 x 32 x 5, 3 channels, first image /data/stack/s000.png";

class ImageDialogNegotiator : public ThreadNegotiator {
 public:
  QObject* create() override { return new QxImReadDialog(nullptr, nullptr, true, Qt::WindowFlags()); }
};

class ImageDialogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UxBatchAnswers::clear();
    setDims(3);
  }
  void TearDown() override { UxBatchAnswers::clear(); }

  void setDims(int channels) {
    int dims[3] = {64, 32, 5};
    dialog.setDims(dims, channels, "/data/stack/s000.png", 0, nullptr, 0, 1);
  }
  std::vector<float> box() const {
    std::vector<float> six(6);
    dialog.getBox(six.data());
    return six;
  }
  std::vector<std::string> lastLines(size_t n) const {
    const size_t from = console.lines.size() > n ? console.lines.size() - n : 0;
    return std::vector<std::string>(console.lines.begin() + from, console.lines.end());
  }

  QxImReadDialog dialog{nullptr, "imageStack", true, Qt::WindowFlags()};
  ConsoleCapture console;
};

TEST_F(ImageDialogTest, AQueuedAnswerIsTakenOnTheDialogThreadAsThePackageRunsIt) {
  UxBatchAnswers::push(UxBatchAnswers::IMAGE,
                       {"-bbox", "-1.5", "1.5", "0", "10", "2", "4", "-channel", "10"});
  ImageDialogNegotiator negotiator;
  auto* threaded = static_cast<QxImReadDialog*>(negotiator.createForkedObject());
  ASSERT_NE(threaded, nullptr);
  int dims[3] = {64, 32, 5};
  threaded->setDims(dims, 3, "/data/stack/s000.png", 0, nullptr, 0, 1);
  negotiator.putData();
  const int accepted = negotiator.exec();
  negotiator.getData();
  float six[6];
  threaded->getBox(six);
  const int method = threaded->getConvertMethod();
  negotiator.deleteForkedObject();

  EXPECT_EQ(accepted, 1);
  EXPECT_EQ(std::vector<float>(six, six + 6), (std::vector<float>{-1.5f, 1.5f, 0, 10, 2, 4}));
  EXPECT_EQ(method, QxImReadDialog::COLOUR_FIELD);
  EXPECT_NE(negotiator.execOn(), std::this_thread::get_id());
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               kColourStack, "answer: -bbox -1.5 1.5 0 10 2 4 -channel 10 (script)"}));
}

TEST_F(ImageDialogTest, EachPartIsOptionalAndWordsComeInAnyOrder) {
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-channel", "0", "-bbox", "1", "2", "3", "4", "5", "6"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-channel", "4"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "1", "0", "0.25"});

  ASSERT_EQ(dialog.exec(), 1);
  EXPECT_EQ(box(), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::MAXIMUM);
  EXPECT_EQ(console.lines.back(), "answer: -bbox 1 2 3 4 5 6 -channel 0 (script)");

  ASSERT_EQ(dialog.exec(), 1);
  EXPECT_EQ(box(), (std::vector<float>{0, 63, 0, 31, 0, 4})) << "the box of the stack's size";
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::CHANNEL_3);
  EXPECT_EQ(console.lines.back(), "answer: -bbox 0 63 0 31 0 4 -channel 4 (script, default box)");

  ASSERT_EQ(dialog.exec(), 1);
  EXPECT_EQ(box(), (std::vector<float>{0, 1, 0, 1, 0, 0.25f}));
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::WEIGHTED_AVERAGE);
  EXPECT_EQ(console.lines.back(),
            "answer: -bbox 0 1 0 1 0 0.25 -channel 1 (script, default channel)");
}

TEST_F(ImageDialogTest, AnAnswerWithoutWordsTakesDefaultsThatDependOnTheChannels) {
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {});
  ASSERT_EQ(dialog.exec(), 1);
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::WEIGHTED_AVERAGE) << "colour";
  EXPECT_EQ(lastLines(2), (std::vector<std::string>{
                              kColourStack,
                              "answer: -bbox 0 63 0 31 0 4 -channel 1 (script, default box and channel)"}));

  setDims(1);
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {});
  ASSERT_EQ(dialog.exec(), 1);
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::CHANNEL_1) << "grey";
  EXPECT_EQ(box(), (std::vector<float>{0, 63, 0, 31, 0, 4}));
  EXPECT_EQ(lastLines(2),
            (std::vector<std::string>{
                "image dialog: stack of 64 x 32 x 5, 1 channel, first image /data/stack/s000.png",
                "answer: -bbox 0 63 0 31 0 4 -channel 2 (script, default box and channel)"}));
}

TEST_F(ImageDialogTest, CancelOrNoAnswerCancelsAndKeepsTheEarlierChoice) {
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "5"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"cancel"});
  UxBatchAnswers::push(UxBatchAnswers::FILE, {"/tmp/not-for-images.png"});
  ASSERT_EQ(dialog.exec(), 1);

  EXPECT_EQ(dialog.exec(), 0);
  EXPECT_EQ(console.lines.back(), "answer: cancel (script)");
  EXPECT_EQ(dialog.exec(), 0);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::FILE), 1) << "only image answers are taken";
  EXPECT_EQ(box(), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::ALPHA_CHANNEL);
  EXPECT_EQ(std::count(console.lines.begin(), console.lines.end(), kColourStack), 3);
}

TEST_F(ImageDialogTest, TheInteractiveFlagAloneDoesNotReadANonTerminal) {
  if (isatty(STDIN_FILENO)) GTEST_SKIP() << "standard input is a terminal here";
  UxBatchAnswers::setInteractive(true);
  const int accepted = dialog.exec();
  UxBatchAnswers::setInteractive(false);
  EXPECT_EQ(accepted, 0);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
}

TEST_F(ImageDialogTest, MalformedWordsSayWhyThenCancel) {
  struct Case {
    std::vector<std::string> words;
    std::string why;
  };
  const Case cases[] = {
      {{"-bbox", "0", "1", "0", "1", "0"}, "-bbox expects six numbers, got 5"},
      {{"-bbox", "0", "1", "zero", "1", "0", "1"}, "-bbox expects six numbers: \"zero\" is not a number"},
      {{"-bbox", "0", "1", "0", "1", "0", "-channel", "2"},
       "-bbox expects six numbers: \"-channel\" is not a number"},
      {{"-bbox", "0", "1", "0", "inf", "0", "1"}, "-bbox expects six numbers: \"inf\" is not a number"},
      {{"-bbox", "0", "1", "9", "1", "0", "1"}, "-bbox: the y minimum lies above the maximum"},
      {{"-channel", "7"}, "-channel expects one of 0 1 2 3 4 5 10, got \"7\""},
      {{"-channel", "2x"}, "-channel expects one of 0 1 2 3 4 5 10, got \"2x\""},
      {{"-channel"}, "-channel expects one of 0 1 2 3 4 5 10, got \"\""},
      {{"-channel", "2", "-channel", "3"}, "-channel given twice"},
      {{"--channel", "2"}, "unknown word \"--channel\": expected -bbox, -channel or cancel"},
      {{"cancel", "-channel", "2"}, "cancel must stand alone"},
  };
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"});
  ASSERT_EQ(dialog.exec(), 1);
  for (const Case& c : cases) UxBatchAnswers::push(UxBatchAnswers::IMAGE, c.words);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(dialog.exec(), 0);
    EXPECT_EQ(lastLines(3), (std::vector<std::string>{kColourStack, "image dialog: " + c.why,
                                                      "answer: cancel (script, malformed)"}));
  }
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::IMAGE), 0) << "each bad answer is used up";
  EXPECT_EQ(box(), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(dialog.getConvertMethod(), QxImReadDialog::CHANNEL_2);
}

}  // namespace
