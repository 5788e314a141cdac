// Qt's own question boxes, asked the way the package asks them, answered from
// outside by the host's watcher on a real (offscreen) application.
#include "host/dialogs/UxQuestionAnswerer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QMessageBox>
#include <QTimer>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using Words = std::vector<std::string>;

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
  ConsoleCapture console;
  bool hung = false;
  std::unique_ptr<QTimer> guard;
  static QApplication* application;
  static std::unique_ptr<TempDir> runtime;
};

// Queued answers are clicked in turn and said, whatever their case; without
// one, or with one that names no button, the box takes No.
TEST_F(QuestionAnswererTest, QueuedAnswersAreClickedAndSaid) {
  const struct {
    Words answer;  // empty: none queued
    QMessageBox::StandardButton clicked;
    const char* said;
  } cases[] = {{{"YES"}, QMessageBox::Yes, "answer: Yes (script)"},
               {{"no"}, QMessageBox::No, "answer: No (script)"},
               {{}, QMessageBox::No, "answer: No (default)"},
               {{"maybe"}, QMessageBox::No, "answer: No (default, the script's answer matched no button)"}};
  UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes"});  // not a question's answer
  guardAgainstHanging();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said);
    console.lines.clear();
    if (!c.answer.empty()) {
      UxBatchAnswers::push(UxBatchAnswers::QUESTION, c.answer);
    }
    EXPECT_EQ(QMessageBox::question(nullptr, "Overwrite", "The file exists. Overwrite it?",
                                    QMessageBox::Yes | QMessageBox::No),
              c.clicked);
    EXPECT_EQ(console.lines, (Words{"question: The file exists. Overwrite it? [Yes/No]", c.said}));
    EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::QUESTION), 0);
  }
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::WARNING), 1);
  EXPECT_FALSE(hung);
}

QApplication* QuestionAnswererTest::application = nullptr;
std::unique_ptr<TempDir> QuestionAnswererTest::runtime;

}  // namespace
