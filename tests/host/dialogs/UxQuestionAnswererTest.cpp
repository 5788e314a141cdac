// Qt's own question boxes, asked the way the package asks them, answered from
// outside by the host's watcher on a real (offscreen) application.
#include "host/dialogs/UxQuestionAnswerer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

class QuestionAnswererTest : public ::testing::Test {
 protected:
  // Qt allows one application at a time, and boxes need one, with no display
  // to draw on. It goes again after the suite, taking the fonts it loaded.
  static void SetUpTestSuite() {
    if (QApplication::instance()) return;
    runtime = std::make_unique<TempDir>();
    chmod(runtime->path().c_str(), 0700);  // Qt insists on a private folder
    setenv("XDG_RUNTIME_DIR", runtime->path().c_str(), 0);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("QT_LOGGING_RULES", "default.warning=false", 0);
    static int argc = 1;
    static char name[] = "test_host";
    static char* argv[] = {name, nullptr};
    application = new QApplication(argc, argv);
  }
  static void TearDownTestSuite() {
    delete application;
    application = nullptr;
    runtime.reset();
  }
  void SetUp() override {
    UxQuestionAnswerer::install();
    UxQuestionAnswerer::install();  // a second call must not answer twice
  }
  // A broken watcher must fail the test rather than hang it: after a while a
  // box still open is closed with its escape answer.
  void guardAgainstHanging() {
    guard = std::make_unique<QTimer>();
    guard->setSingleShot(true);
    QObject::connect(guard.get(), &QTimer::timeout, [this] {
      if (QWidget* open = QApplication::activeModalWidget()) {
        hung = true;
        open->close();
      }
    });
    guard->start(20000);
  }
  QMessageBox::StandardButton ask() {
    guardAgainstHanging();
    return QMessageBox::question(nullptr, "Overwrite", "The file exists. Overwrite it?",
                                 QMessageBox::Yes | QMessageBox::No);
  }
  ConsoleCapture console;
  bool hung = false;
  std::unique_ptr<QTimer> guard;
  static QApplication* application;
  static std::unique_ptr<TempDir> runtime;
};

TEST_F(QuestionAnswererTest, AQueuedYesIsClickedAndSaid) {
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"YES"});
  EXPECT_EQ(ask(), QMessageBox::Yes);
  EXPECT_FALSE(hung);
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "question: The file exists. Overwrite it? [Yes/No]",
                               "answer: Yes (script)"}));
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::QUESTION), 0);
}

TEST_F(QuestionAnswererTest, AQueuedNoIsClickedAndAnswersAreTakenInTurn) {
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"no"});
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"yes"});
  EXPECT_EQ(ask(), QMessageBox::No);
  EXPECT_EQ(ask(), QMessageBox::Yes);
  EXPECT_FALSE(hung);
  EXPECT_EQ(console.count("answer: "), 2);
  EXPECT_TRUE(console.saw("answer: No (script)"));
}

TEST_F(QuestionAnswererTest, WithNothingQueuedTheAnswerIsNo) {
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});  // not a question answer
  EXPECT_EQ(ask(), QMessageBox::No);
  EXPECT_FALSE(hung);
  EXPECT_EQ(console.lines.back(), "answer: No (default)");
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::WARNING), 1);
}

TEST_F(QuestionAnswererTest, AnAnswerNamingNoButtonFallsBackToTheDefault) {
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"maybe"});
  EXPECT_EQ(ask(), QMessageBox::No);
  EXPECT_EQ(console.lines.back(), "answer: No (default, the script's answer matched no button)");
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::QUESTION), 0);
}

TEST_F(QuestionAnswererTest, ABoxWithoutNoTakesItsEscapeButton) {
  guardAgainstHanging();
  const auto chosen = QMessageBox::warning(nullptr, "Disk", "Little space is left.",
                                           QMessageBox::Ok | QMessageBox::Cancel);
  EXPECT_EQ(chosen, QMessageBox::Cancel);
  EXPECT_FALSE(hung);
  EXPECT_TRUE(console.saw("question: Little space is left. [Ok/Cancel]"));
  EXPECT_EQ(console.lines.back(), "answer: Cancel (default)");
}

TEST_F(QuestionAnswererTest, CustomButtonsAreNamedByTheirText) {
  UxBatchAnswers::push(UxBatchAnswers::QUESTION, {"keep both"});
  guardAgainstHanging();
  QMessageBox box(QMessageBox::Question, "Conflict", "Both files differ.");
  QPushButton* keep = box.addButton("&Keep both", QMessageBox::AcceptRole);
  box.addButton(QMessageBox::Discard);
  box.exec();
  EXPECT_EQ(box.clickedButton(), keep);
  EXPECT_FALSE(hung);
  EXPECT_EQ(console.lines.back(), "answer: Keep both (script)");
}

QApplication* QuestionAnswererTest::application = nullptr;
std::unique_ptr<TempDir> QuestionAnswererTest::runtime;

}  // namespace
