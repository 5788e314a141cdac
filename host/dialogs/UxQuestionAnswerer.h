#pragma once
// UxQuestionAnswerer: answers the application's message boxes, so that a
// question asked through Qt directly (QMessageBox::question and the like)
// never blocks a batch run.
//
// install() puts one watcher on the running application (a second call, or a
// call without an application, does nothing; after the application is gone a
// new one needs a new call). Each message box shown is answered as soon as
// its own event loop runs: by the oldest "question" answer queued in
// UxBatchAnswers (a button name such as yes or no, compared without case),
// else by the default: the box's No button, or when it has none what Escape
// would give (its escape button, else its button that rejects), then its
// default button, then its first one. An answer that names
// no button of the box is dropped in favour of the default. The console shows
// the question and the answer taken. Only when the shell is interactive and
// standard input is a terminal is the box left to the person: it is asked on
// the terminal when the box cannot be seen (an offscreen run), else left on
// screen.
#include <QObject>

class QMessageBox;

class UxQuestionAnswerer : public QObject {
 public:
  static void install();

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  explicit UxQuestionAnswerer(QObject* application);

  static void answer(QMessageBox* box);
};
