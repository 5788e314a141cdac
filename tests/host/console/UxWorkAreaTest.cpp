#include "host/console/UxWorkArea.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/console/UxMessage.h"
#include "support/ConsoleCapture.h"

namespace {

using Lines = std::vector<std::string>;

class WorkAreaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    work->setDisplay(UxWorkArea::PLAIN);
    work->setClock([this] { return seconds; });
    work->setOutput([this](const std::string& text) { shown += text; });
    UxWorkArea::interruptAfterChecks(-1);
  }
  void TearDown() override {
    while (work->numTasks() > 0) work->endWork();
    UxWorkArea::interruptAfterChecks(-1);
    work->setDisplay(UxWorkArea::AUTOMATIC);
    work->setClock(nullptr);
    work->setOutput(nullptr);
  }
  // A task from second 0 to `end`, given `fraction` at the seconds listed.
  void run(const char* text, double end, const std::vector<std::pair<double, float>>& progress) {
    seconds = 0;
    work->startWork("%s", text);
    for (const auto& [at, fraction] : progress) {
      seconds = at;
      work->setProgress(fraction);
    }
    seconds = end;
    work->stopWork();
  }
  Lines lines() const {
    Lines split;
    for (size_t at = 0, end; (end = shown.find('\n', at)) != std::string::npos; at = end + 1)
      split.push_back(shown.substr(at, end - at));
    return split;
  }
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  double seconds = 0;
  std::string shown;
  ConsoleCapture console;
};

TEST_F(WorkAreaTest, LogsGetALineAfterOneSecondThenEveryThreeWithTheTimeLeftAndOneAtTheEnd) {
  std::vector<std::pair<double, float>> steady;
  for (int i = 0; i <= 24; ++i) steady.push_back({i * 0.5, i / 24.0f});
  run("Converting", 12.5, steady);
  EXPECT_EQ(lines(), (Lines{"Converting: 8% (about 11 s left)", "Converting: 33% (about 8 s left)",
                            "Converting: 58% (about 5 s left)", "Converting: 83% (about 2 s left)",
                            "Converting: done in 12.5 s"}));
  EXPECT_EQ(console.lines, Lines{}) << "progress is not a console message";
}

TEST_F(WorkAreaTest, TheTimeLeftIsSpelledForPeople) {
  const struct {
    double at;
    float fraction;
    const char* line;
  } cases[] = {{80, 0.5f, "T: 50% (about 1 min 20 s left)"},
               {2520, 0.25f, "T: 25% (about 2 h 6 min left)"},
               {9, 0.0f, "T: 0%"},
               {7, 9.5f, "T: 100%"}};
  for (const auto& c : cases) {
    shown.clear();
    run("T", 100000, {{0, 0.0f}, {c.at, c.fraction}});
    EXPECT_EQ(lines().front(), c.line);
  }
  EXPECT_EQ(lines().back(), "T: done in 27 h 46 min");
}

TEST_F(WorkAreaTest, ShortOrQuietWorkShowsNothing) {
  run("quick", 0.9, {{0.5, 0.5f}});
  work->setDisplay(UxWorkArea::QUIET);
  run("quiet", 30, {{10, 0.5f}, {20, 0.7f}});
  EXPECT_EQ(shown, "");
}

TEST_F(WorkAreaTest, ABusyTaskShowsPercentagesOnceGivenThemAndAnInnerTaskHasItsOwnLines) {
  work->startBusy("%s", "");
  work->setProgress(0.25f);
  seconds = 6;
  work->setProgress(0.5f);
  work->beginWork("updating subsampling levels");
  work->setProgress(0.3f);  // the pace counts from here
  seconds = 12;
  work->setProgress(0.6f);
  seconds = 13;
  work->endWork();
  work->stopWork();
  EXPECT_EQ(lines(), (Lines{"working: 50% (about 12 s left)", "updating subsampling levels: 60% (about 8 s left)",
                            "updating subsampling levels: done in 7.0 s", "working: done in 13.0 s"}));
}

TEST_F(WorkAreaTest, ATerminalGetsABarRedrawnInPlaceThatMakesRoomForMessages) {
  work->setDisplay(UxWorkArea::TERMINAL);
  run("Saving", 4, {{0, 0.0f}, {2, 0.5f}, {2.1, 0.6f}});
  EXPECT_EQ(shown, "\rSaving [###############               ] 50% (about 2 s left)\033[K"
                   "\rSaving: done in 4.0 s\033[K\n");
  shown.clear();
  seconds = 0;
  work->startWork("Saving");
  work->setProgress(0.0f);
  seconds = 2;
  work->setProgress(0.5f);
  UxMessage::getTheMsg()->printf("a message");
  seconds = 2.1;
  work->setProgress(0.6f);
  EXPECT_EQ(shown, "\rSaving [###############               ] 50% (about 2 s left)\033[K\r\033[K"
                   "\rSaving [##################            ] 60% (about 1 s left)\033[K");
}

// An interrupt comes after the checks asked for and stays; the caller says
// so, and the task that stopped claims no "done in"; a new start forgets it.
TEST_F(WorkAreaTest, InterruptComesAfterTheRequestedChecksAndStays) {
  UxWorkArea::interruptAfterChecks(2);
  seconds = 0;
  work->startWork("long job");  // the request survives the start of the work
  EXPECT_EQ(work->checkInterrupt(), 0);
  EXPECT_EQ(work->checkInterrupt(), 0);
  EXPECT_NE(work->checkInterrupt(1), 0);
  EXPECT_NE(work->checkInterrupt(1), 0);
  seconds = 5;
  work->stopWork();
  EXPECT_EQ(console.lines, Lines{});
  EXPECT_EQ(shown.find("done in"), std::string::npos) << shown;
  work->startBusy("next job");
  EXPECT_EQ(work->checkInterrupt(), 0) << "a new start forgets the old interrupt";
  work->stopWork();
}

}  // namespace
