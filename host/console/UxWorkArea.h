#pragma once
// UxWorkArea: the one place of the process that shows the progress of long
// work and notices when the user wants it stopped.
//
// Tasks nest: every begin has its end, and progress and text belong to the
// innermost task. On a terminal the task is a bar redrawn in place; otherwise
// (logs, pipes) it is a few plain console lines: the text when the task
// begins, at most one line per quarter of progress ("TEXT: 50%") and
// "TEXT: done" at its end. Fractions outside 0..1 are clamped for display.
// checkInterrupt turns non-zero after Ctrl-C while work is going on (a second
// Ctrl-C, or one while idle, ends the process as usual) or after the number
// of checks a test asked for; startWork clears a stale interrupt. Nothing here
// fails: an endWork without a task is ignored.
#include <string>
#include <vector>

#include "host/base/TbProgressInterface.h"

class UxWorkArea : public TbProgressInterface {
 public:
  enum Display { AUTOMATIC, TERMINAL, PLAIN };

  static UxWorkArea* getTheWorkArea();

  void beginWork(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  void setWorkText(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  void endWork() override;
  void setProgress(float fraction) override;

  // As beginWork, and forgets an interrupt left over from earlier work.
  void startWork(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // A task without a measure of progress.
  void startBusy(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void stopWork();
  // Non-zero once interrupted; with announce set, says so on the console once.
  int checkInterrupt(int announce = 0);
  int numTasks() const { return static_cast<int>(tasks.size()); }

  // AUTOMATIC picks TERMINAL when standard output is a terminal.
  void setDisplay(Display display);
  // The first `checks` calls of checkInterrupt from now on answer as usual,
  // the next one interrupts; -1 disarms.
  static void interruptAfterChecks(int checks);
  // Routes Ctrl-C here; the shell calls it once.
  static void installInterruptHandler();

 private:
  struct Task {
    std::string text;
    float fraction;
    int shownStep;  // quarters (plain) or percent (terminal) last shown
    bool busy;
  };
  UxWorkArea() = default;
  void begin(const std::string& text, bool busy);
  void show(Task& task, bool finished);
  void showPlain(Task& task, bool finished);
  void showTerminal(Task& task, bool finished);
  bool onTerminal() const;

  std::vector<Task> tasks;
  Display display = AUTOMATIC;
  bool announced = false;
};
