#include "host/console/UxWorkArea.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ConsoleCapture.h"

namespace {

class WorkAreaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    work->setDisplay(UxWorkArea::PLAIN);
    UxWorkArea::interruptAfterChecks(-1);
    work->startWork("settle");  // clears an interrupt left by another test
    work->stopWork();
    console.lines.clear();
  }
  void TearDown() override {
    while (work->numTasks() > 0) work->endWork();
    UxWorkArea::interruptAfterChecks(-1);
    work->setDisplay(UxWorkArea::AUTOMATIC);
  }
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  ConsoleCapture console;
};

TEST_F(WorkAreaTest, TheOneWorkAreaServesAsProgressInterface) {
  TbProgressInterface* progress = UxWorkArea::getTheWorkArea();
  EXPECT_EQ(progress, work);
  progress->beginWork("level %d of %d", 1, 3);
  progress->endWork();
  EXPECT_EQ(console.lines, (std::vector<std::string>{"level 1 of 3 ...", "level 1 of 3: done"}));
}

TEST_F(WorkAreaTest, PlainDisplayShowsAtMostOneLinePerQuarter) {
  work->startWork("Updating levels");
  for (int i = 0; i <= 1000; ++i) work->setProgress(i / 1000.0f);
  work->stopWork();
  EXPECT_EQ(console.lines, (std::vector<std::string>{"Updating levels ...", "Updating levels: 25%",
                                                     "Updating levels: 50%", "Updating levels: 75%",
                                                     "Updating levels: done"}));
}

TEST_F(WorkAreaTest, FractionsBeyondTheEndsAreClamped) {
  work->beginWork("Reading");
  work->setProgress(-3.0f);
  work->setProgress(7.5f);
  work->setProgress(0.6f);
  work->endWork();
  EXPECT_EQ(console.lines, (std::vector<std::string>{"Reading ...", "Reading: 50%", "Reading: done"}));
}

TEST_F(WorkAreaTest, TextChangesShowInLaterLinesAndTasksNest) {
  work->beginWork("outer");
  work->startBusy("inner");
  work->setProgress(0.9f);  // a busy task has no measure: nothing shown
  work->endWork();
  work->setWorkText("outer, step %d", 2);
  work->setProgress(0.3f);
  work->endWork();
  work->endWork();  // one too many is ignored
  EXPECT_EQ(console.lines, (std::vector<std::string>{"outer ...", "inner ...", "inner: done",
                                                     "outer, step 2: 25%", "outer, step 2: done"}));
}

TEST_F(WorkAreaTest, InterruptComesAfterTheRequestedChecksAndStays) {
  UxWorkArea::interruptAfterChecks(2);
  work->startWork("long job");  // the request survives the start of the work
  EXPECT_EQ(work->checkInterrupt(), 0);
  EXPECT_EQ(work->checkInterrupt(), 0);
  EXPECT_NE(work->checkInterrupt(), 0);
  EXPECT_NE(work->checkInterrupt(), 0);
  work->stopWork();
  work->startWork("next job");
  EXPECT_EQ(work->checkInterrupt(), 0) << "a new start forgets the old interrupt";
  work->stopWork();
}

TEST_F(WorkAreaTest, AnInterruptIsAnnouncedOnceWhenAsked) {
  work->startWork("job");
  UxWorkArea::interruptAfterChecks(0);
  EXPECT_NE(work->checkInterrupt(1), 0);
  EXPECT_NE(work->checkInterrupt(1), 0);
  work->stopWork();
  EXPECT_EQ(console.lines, (std::vector<std::string>{"job ...", "interrupted", "job: done"}));
}

}  // namespace
