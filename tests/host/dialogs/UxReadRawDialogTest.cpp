// The raw-data dialog in a batch run: what it takes from the "raw" queue,
// what it falls back to, and what it tells the console.
#include "host/dialogs/UxReadRawDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "support/ConsoleCapture.h"

namespace {

class ReadRawDialogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dialog.setNumFiles(2);
    dialog.setFilesize(1048576);
  }
  std::vector<int> dims() const {
    int d[3] = {-1, -1, -1};
    dialog.getDims(d);
    return {d[0], d[1], d[2]};
  }
  std::vector<float> box() const {
    float b[6] = {-1, -1, -1, -1, -1, -1};
    dialog.getMinMax(b);
    return std::vector<float>(b, b + 6);
  }
  void expectDefaults() const {
    EXPECT_EQ(dims(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(dialog.getPrimType(), TbPrimType::UINT8);
    EXPECT_EQ(dialog.getNDataVar(), 1);
    EXPECT_EQ(dialog.getHeaderBytes(), 0);
    EXPECT_FALSE(dialog.isBigEndian());
    EXPECT_EQ(box(), (std::vector<float>{0, 1, 0, 1, 0, 1}));
  }

  ConsoleCapture console;
  UxReadRawDialog dialog{0};
};

TEST_F(ReadRawDialogTest, TakesEveryOptionInAnyOrder) {
  UxBatchAnswers::push(UxBatchAnswers::RAW,
                       {"-endianess", "big", "-bbox", "-1", "1", "-2", "2", "0", "0.5", "-ptype",
                        "uint16", "-header", "512", "-ndatavar", "3", "-dims", "64", "32", "16"});
  ASSERT_EQ(dialog.exec(), UxReadRawDialog::Accepted);
  EXPECT_EQ(dims(), (std::vector<int>{64, 32, 16}));
  EXPECT_EQ(dialog.getPrimType(), TbPrimType::UINT16);
  EXPECT_EQ(dialog.getNDataVar(), 3);
  EXPECT_EQ(dialog.getHeaderBytes(), 512);
  EXPECT_TRUE(dialog.isBigEndian());
  EXPECT_EQ(box(), (std::vector<float>{-1, 1, -2, 2, 0, 0.5f}));
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{
                "raw data dialog: 2 files, 1048576 bytes",
                "answer: -dims 64 32 16 -ptype uint16 -ndatavar 3 -header 512 -endianess big "
                "-bbox -1 1 -2 2 0 0.5 (script)"}));
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::RAW), 0);
}

TEST_F(ReadRawDialogTest, LeftOutOptionsTakeTheirDefaults) {
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "8", "8", "8", "-ptype", "FLOAT"});
  ASSERT_EQ(dialog.exec(), UxReadRawDialog::Accepted);
  EXPECT_EQ(dims(), (std::vector<int>{8, 8, 8}));
  EXPECT_EQ(dialog.getPrimType(), TbPrimType::FLOAT);
  EXPECT_EQ(dialog.getNDataVar(), 1);
  EXPECT_FALSE(dialog.isBigEndian());
  EXPECT_EQ(box(), (std::vector<float>{0, 1, 0, 1, 0, 1}));

  UxBatchAnswers::push(UxBatchAnswers::RAW, {});
  ASSERT_EQ(dialog.exec(), UxReadRawDialog::Accepted) << "an empty answer takes every default";
  expectDefaults();
  EXPECT_EQ(console.lines.back(),
            "answer: -dims 0 0 0 -ptype uint8 -ndatavar 1 -header 0 -endianess little "
            "-bbox 0 1 0 1 0 1 (script)");
}

TEST_F(ReadRawDialogTest, EachExecStartsFromTheDefaultsAgain) {
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-ndatavar", "2", "-endianness", "big"});
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"-header", "4"});
  ASSERT_EQ(dialog.exec(), UxReadRawDialog::Accepted);
  EXPECT_TRUE(dialog.isBigEndian());
  ASSERT_EQ(dialog.exec(), UxReadRawDialog::Accepted);
  EXPECT_EQ(dialog.getHeaderBytes(), 4);
  EXPECT_EQ(dialog.getNDataVar(), 1);
  EXPECT_FALSE(dialog.isBigEndian());
}

TEST_F(ReadRawDialogTest, CancelAndNoAnswerBothReject) {
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"Cancel"});
  EXPECT_EQ(dialog.exec(), UxReadRawDialog::Rejected);
  EXPECT_EQ(console.lines.back(), "answer: cancel (script)");
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"yes"});  // another kind is not taken
  EXPECT_EQ(dialog.exec(), UxReadRawDialog::Rejected);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::QUESTION), 1);
  expectDefaults();
}

TEST_F(ReadRawDialogTest, InteractiveFlagAloneDoesNotReadANonTerminal) {
  UxBatchAnswers::setInteractive(true);
  const int status = dialog.exec();
  UxBatchAnswers::setInteractive(false);
  EXPECT_EQ(status, UxReadRawDialog::Rejected);
  EXPECT_EQ(console.lines.back(), "answer: cancel (default)");
}

TEST_F(ReadRawDialogTest, TheCountAndSizeItWasToldArePrinted) {
  dialog.setNumFiles(1);
  dialog.setFilesize(5000000000LL);
  dialog.exec();
  EXPECT_EQ(console.lines.front(), "raw data dialog: 1 file, 5000000000 bytes");
}

struct Malformed {
  std::vector<std::string> words;
  const char* problem;
};

class MalformedRawAnswerTest : public ReadRawDialogTest,
                               public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedRawAnswerTest, IsReportedAndTreatedAsCancelledWithDefaults) {
  UxBatchAnswers::push(UxBatchAnswers::RAW, GetParam().words);
  EXPECT_EQ(dialog.exec(), UxReadRawDialog::Rejected);
  ASSERT_EQ(console.lines.size(), 3u);
  EXPECT_EQ(console.lines[1], GetParam().problem);
  EXPECT_EQ(console.lines[2], "answer: cancel (script, the answer could not be read)");
  expectDefaults();
}

INSTANTIATE_TEST_SUITE_P(
    Words, MalformedRawAnswerTest,
    ::testing::Values(
        Malformed{{"-dims", "8", "8"}, "raw data answer \"-dims 8 8\": -dims needs 3 values"},
        Malformed{{"-dims", "8", "0", "8"},
                  "raw data answer \"-dims 8 0 8\": -dims: bad value \"0\": expected an integer "
                  "of 1 or more"},
        Malformed{{"-ptype", "uint12"},
                  "raw data answer \"-ptype uint12\": -ptype: bad value \"uint12\": expected "
                  "uint8, int16, uint16, int32, float or double"},
        Malformed{{"-header", "-4"},
                  "raw data answer \"-header -4\": -header: bad value \"-4\": expected an "
                  "integer of 0 or more"},
        Malformed{{"-ndatavar", "2x"},
                  "raw data answer \"-ndatavar 2x\": -ndatavar: bad value \"2x\": expected an "
                  "integer of 1 or more"},
        Malformed{{"-endianess", "middle"},
                  "raw data answer \"-endianess middle\": -endianess: bad value \"middle\": "
                  "expected little or big"},
        Malformed{{"-bbox", "0", "1", "0", "1", "0", "nan"},
                  "raw data answer \"-bbox 0 1 0 1 0 nan\": -bbox: bad value \"nan\": expected "
                  "a number"},
        Malformed{{"-ptype", "uint8", "-size", "4"},
                  "raw data answer \"-ptype uint8 -size 4\": unknown option \"-size\""},
        Malformed{{"cancel", "-dims", "1", "1", "1"},
                  "raw data answer \"cancel -dims 1 1 1\": unknown option \"cancel\""}));

}  // namespace
