#include "host/console/UxWorkArea.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdarg>
#include <cstdio>


namespace {

// Shared with the signal handler, hence plain flags.
volatile sig_atomic_t interrupted = 0;
volatile sig_atomic_t working = 0;
int checksBeforeInterrupt = -1;

constexpr int kBarWidth = 30;
// Work that ends within this many seconds leaves no trace.
constexpr double kSilentStart = 1.0;
// Plain lines for logs at most this often; a terminal bar is redrawn more often.
constexpr double kLineInterval = 3.0;
constexpr double kRedrawInterval = 0.2;

void onInterrupt(int signalNumber) {
  if (working && !interrupted) {
    interrupted = 1;
    return;
  }
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
}

std::string formatText(const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  std::string text(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
  if (length > 0) std::vsnprintf(&text[0], text.size(), format, again);
  va_end(again);
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return text;
}

float clampFraction(float fraction) {
  if (!(fraction > 0.0f)) return 0.0f;  // also NaN
  return std::min(fraction, 1.0f);
}

// "12.3 s" (tenths only when asked for and under a minute), "4 min 5 s", "2 h 7 min".
std::string durationText(double seconds, bool tenths) {
  char text[64];
  if (seconds < 59.95 && tenths) {
    std::snprintf(text, sizeof text, "%.1f s", seconds);
    return text;
  }
  const long whole = std::lround(seconds);
  if (whole < 60)
    std::snprintf(text, sizeof text, "%ld s", whole);
  else if (whole < 3600)
    std::snprintf(text, sizeof text, "%ld min %ld s", whole / 60, whole % 60);
  else
    std::snprintf(text, sizeof text, "%ld h %ld min", whole / 3600, whole / 60 % 60);
  return text;
}

double steadySeconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

UxWorkArea* UxWorkArea::getTheWorkArea() {
  static UxWorkArea theWorkArea;
  return &theWorkArea;
}

void UxWorkArea::setDisplay(Display newDisplay) { display = newDisplay; }

void UxWorkArea::setClock(Clock newClock) { clock = std::move(newClock); }

void UxWorkArea::setOutput(Output newOutput) { output = std::move(newOutput); }

double UxWorkArea::now() const { return clock ? clock() : steadySeconds(); }

void UxWorkArea::write(const std::string& text) {
  if (output) {
    output(text);
    return;
  }
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

bool UxWorkArea::onTerminal() const {
  // Asked once: progress may be set for every block of a level update.
  static const bool stdoutIsTerminal = isatty(STDOUT_FILENO) != 0;
  if (display == AUTOMATIC) return stdoutIsTerminal;
  return display == TERMINAL;
}

void UxWorkArea::begin(const std::string& text) {
  const double start = now();
  // Work started without a text still needs a name when it shows.
  tasks.push_back(Task{text.empty() ? "working" : text, 0.0f, false, 0.0f, start, start, start, false});
  working = 1;
}

void UxWorkArea::beginWork(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  begin(text);
}

void UxWorkArea::startWork(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  restart(text);
}

void UxWorkArea::startBusy(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  restart(text);
}

void UxWorkArea::restart(const std::string& text) {
  interrupted = 0;
  announced = false;
  begin(text);
}

void UxWorkArea::setWorkText(const char* format, ...) {
  if (tasks.empty()) return;
  va_list args;
  va_start(args, format);
  tasks.back().text = formatText(format, args);
  va_end(args);
  if (onTerminal()) show(tasks.back());
}

void UxWorkArea::setProgress(float fraction) {
  if (tasks.empty()) return;
  Task& task = tasks.back();
  task.fraction = clampFraction(fraction);
  if (!task.measured) {
    task.measured = true;
    task.firstFraction = task.fraction;
    task.firstAt = now();
  }
  show(task);
}

void UxWorkArea::endWork() {
  if (tasks.empty()) return;
  finish(tasks.back());
  tasks.pop_back();
  working = tasks.empty() ? 0 : 1;
}

void UxWorkArea::stopWork() { endWork(); }

// "TEXT: 42% (about 1 min 20 s left)"; a task without a measure tells its time so far.
std::string UxWorkArea::progressText(const Task& task, double at) const {
  const double spent = at - task.started;
  if (!task.measured) return task.text + ": running for " + durationText(spent, false);
  const int percent = static_cast<int>(task.fraction * 100.0f);
  std::string text = task.text + ": " + std::to_string(percent) + "%";
  const double gained = task.fraction - task.firstFraction;
  if (gained > 0.0 && task.fraction < 1.0f)
    text += " (about " + durationText((at - task.firstAt) * (1.0 - task.fraction) / gained, false) + " left)";
  return text;
}

void UxWorkArea::show(Task& task) {
  if (display == QUIET) return;
  const double at = now();
  const bool terminal = onTerminal();
  // After the silent first second the task shows at once, then at most every interval.
  const double interval = terminal ? kRedrawInterval : kLineInterval;
  if (at - task.started < kSilentStart || (task.shown && at - task.shownAt < interval)) return;
  task.shownAt = at;
  task.shown = true;
  if (!terminal) {
    write(progressText(task, at) + "\n");
    return;
  }
  const int filled = task.measured ? static_cast<int>(task.fraction * kBarWidth) : 0;
  write("\r" + task.text + " [" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "] " +
        progressText(task, at).substr(task.text.size() + 2) + "\033[K");
  barShown = true;
}

void UxWorkArea::clearBar() {
  if (!barShown) return;
  write("\r\033[K");
  barShown = false;
  if (!tasks.empty()) tasks.back().shown = false;  // redrawn with the next progress
}

void UxWorkArea::finish(const Task& task) {
  if (display == QUIET) return;
  if (interrupted) {  // the work did not get done: no "done in" line, and no bar left behind
    if (barShown) write("\r\033[K");
    barShown = false;
    return;
  }
  const double spent = now() - task.started;
  if (spent < kSilentStart && !task.shown) return;
  const std::string line = task.text + ": done in " + durationText(spent, true);
  write(onTerminal() ? "\r" + line + "\033[K\n" : line + "\n");
  barShown = false;
}

int UxWorkArea::checkInterrupt(int announce) {
  if (checksBeforeInterrupt == 0) {
    interrupted = 1;
    checksBeforeInterrupt = -1;
  } else if (checksBeforeInterrupt > 0) {
    --checksBeforeInterrupt;
  }
  if (interrupted && announce && !announced) {
    announced = true;
    clearBar();  // the caller's "Interrupted" gets a line of its own
  }
  return interrupted ? 1 : 0;
}

void UxWorkArea::interruptAfterChecks(int checks) { checksBeforeInterrupt = checks < 0 ? -1 : checks; }

void UxWorkArea::installInterruptHandler() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // calls in progress go on; the work notices at its next check
  sigaction(SIGINT, &action, nullptr);
}
