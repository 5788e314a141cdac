#pragma once
// UxWorkArea: the one place of the process that shows the progress of long
// work and notices when the user wants it stopped.
//
// Tasks nest: every begin has its end, and progress and text belong to the
// innermost task. A task shows nothing during its first second, so work that
// ends within it leaves no trace. After that, on a terminal the task is a bar
// redrawn in place; otherwise (logs, pipes) it is a plain line with its first
// progress after that second and then at most one every three seconds,
// "TEXT: 42% (about 1 min 20 s left)", the time left estimated from the pace
// since the task's first fraction (a task may start well above 0). Either way
// a task that ran for a second or more ends with "TEXT: done in 12.3 s". A
// task started busy shows percentages too once it is given progress.
// Fractions outside 0..1 are clamped for display. The QUIET display shows no
// progress at all. Progress goes straight to standard output, not to the
// console, so console messages are not mixed with it; both share stdout's
// buffer, so they keep their order.
//
// checkInterrupt turns non-zero after Ctrl-C while work is going on (a second
// Ctrl-C, or one while idle, ends the process as usual) or after the number
// of checks a test asked for; startWork and startBusy clear a stale
// interrupt. The caller says "Interrupted" on the console, once: the work
// area only takes its bar off the line, and a task ended after an interrupt
// shows no "done in" line. Ctrl-C does not break off the calls the process
// is making (they restart). Nothing here fails: an endWork without a task is
// ignored.
#include <functional>
#include <string>
#include <vector>

#include "host/base/TbProgressInterface.h"

class UxWorkArea : public TbProgressInterface {
 public:
  enum Display { AUTOMATIC, TERMINAL, PLAIN, QUIET };
  // Seconds from any fixed point, never going back.
  using Clock = std::function<double()>;
  // Receives the progress text exactly as it would go to standard output.
  using Output = std::function<void(const std::string&)>;

  static UxWorkArea* getTheWorkArea();

  void beginWork(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  void setWorkText(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  void endWork() override;
  void setProgress(float fraction) override;

  // As beginWork, and forgets an interrupt left over from earlier work.
  void startWork(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // A task without a measure of progress until it is given one.
  void startBusy(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void stopWork();
  // Non-zero once interrupted; with announce set, clears the bar for the caller's message.
  int checkInterrupt(int announce = 0);
  int numTasks() const { return static_cast<int>(tasks.size()); }

  // Takes a bar off the terminal line, so that a console message gets a line
  // of its own; the bar comes back with the next progress.
  void clearBar();

  // AUTOMATIC picks TERMINAL when standard output is a terminal.
  void setDisplay(Display display);
  // Stand-ins for the steady clock and standard output; null restores them.
  void setClock(Clock clock);
  void setOutput(Output output);
  // The first `checks` calls of checkInterrupt from now on answer as usual,
  // the next one interrupts; -1 disarms.
  static void interruptAfterChecks(int checks);
  // Routes Ctrl-C here; the shell calls it once.
  static void installInterruptHandler();

 private:
  struct Task {
    std::string text;
    float fraction;
    bool measured;  // given a fraction at least once
    float firstFraction;  // the first fraction given, and when: the time left is
    double firstAt;       // estimated from the pace since then
    double started;
    double shownAt;  // when the last line or bar was shown
    bool shown;      // something of the task is on the screen or in the log
  };
  UxWorkArea() = default;
  void begin(const std::string& text);
  void restart(const std::string& text);
  void show(Task& task);
  void finish(const Task& task);
  std::string progressText(const Task& task, double now) const;
  bool onTerminal() const;
  double now() const;
  void write(const std::string& text);

  std::vector<Task> tasks;
  Display display = AUTOMATIC;
  Clock clock;
  Output output;
  bool announced = false;
  bool barShown = false;  // a bar without a line break is on the terminal
};
