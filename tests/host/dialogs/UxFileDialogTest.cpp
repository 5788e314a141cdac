#include "host/dialogs/UxFileDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ConsoleCapture.h"
#include "host/dialogs/UxBatchAnswers.h"

namespace {

class FileDialogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UxBatchAnswers::clear();
    dialog.setDialogUsage(UxFileDialog::SAVE_FILE);
    dialog.setTitle("Create Large Disk Data");
  }
  void TearDown() override { UxBatchAnswers::clear(); }
  UxFileDialog dialog;
  ConsoleCapture console;
};

TEST_F(FileDialogTest, TakesTheQueuedFileAnswerAndSaysSo) {
  UxBatchAnswers::push(UxBatchAnswers::FILE, {"/tmp/new.km"});
  ASSERT_EQ(dialog.postAndWait(), 1);
  EXPECT_STREQ(dialog.getFileName(0), "/tmp/new.km");
  EXPECT_STREQ(dialog.getFileName(1), "");
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "file dialog \"Create Large Disk Data\" (save)",
                               "answer: /tmp/new.km (script)"}));
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::FILE), 0);
}

TEST_F(FileDialogTest, WithNothingQueuedItIsCancelledByDefault) {
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});  // another kind's answer is not taken
  EXPECT_EQ(dialog.postAndWait(), 0);
  EXPECT_STREQ(dialog.getFileName(0), "");
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::WARNING), 1);
}

TEST_F(FileDialogTest, AnEmptyQueuedAnswerCancelsOnPurpose) {
  UxBatchAnswers::push(UxBatchAnswers::FILE, {});
  EXPECT_EQ(dialog.postAndWait(), 0);
  EXPECT_EQ(console.lines.back(), "answer: cancel (script)");
}

TEST_F(FileDialogTest, AnswersAreTakenOldestFirstOnePerDialog) {
  UxBatchAnswers::push(UxBatchAnswers::FILE, {"a.png", "b.png", "c.png"});
  UxBatchAnswers::push(UxBatchAnswers::FILE, {"second.km"});
  dialog.setDialogUsage(UxFileDialog::OPEN_FILES);
  ASSERT_EQ(dialog.postAndWait(), 1);
  EXPECT_EQ(dialog.getNumFileNames(), 3);
  EXPECT_STREQ(dialog.getFileName(2), "c.png");
  ASSERT_EQ(dialog.postAndWait(), 1);
  EXPECT_STREQ(dialog.getFileName(0), "second.km");
  EXPECT_EQ(dialog.getNumFileNames(), 1) << "names of the earlier answer are gone";
}

TEST_F(FileDialogTest, InteractiveFlagAloneDoesNotReadANonTerminal) {
  UxBatchAnswers::setInteractive(true);
  const int accepted = dialog.postAndWait();
  UxBatchAnswers::setInteractive(false);
  EXPECT_EQ(accepted, 0);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
}

}  // namespace
