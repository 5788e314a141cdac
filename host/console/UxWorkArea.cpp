#include "host/console/UxWorkArea.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstdio>

#include "host/console/UxMessage.h"

namespace {

// Shared with the signal handler, hence plain flags.
volatile sig_atomic_t interrupted = 0;
volatile sig_atomic_t working = 0;
int checksBeforeInterrupt = -1;

constexpr int kBarWidth = 30;

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

}  // namespace

UxWorkArea* UxWorkArea::getTheWorkArea() {
  static UxWorkArea theWorkArea;
  return &theWorkArea;
}

void UxWorkArea::setDisplay(Display newDisplay) { display = newDisplay; }

bool UxWorkArea::onTerminal() const {
  // Asked once: progress may be set for every block of a level update.
  static const bool stdoutIsTerminal = isatty(STDOUT_FILENO) != 0;
  if (display == AUTOMATIC) return stdoutIsTerminal;
  return display == TERMINAL;
}

void UxWorkArea::begin(const std::string& text, bool busy) {
  // Work started without a text still needs a name on the console.
  tasks.push_back(Task{text.empty() ? "working" : text, 0.0f, 0, busy});
  working = 1;
  if (onTerminal()) {
    showTerminal(tasks.back(), false);
  } else {
    UxMessage::getTheMsg()->printf("%s ...", tasks.back().text.c_str());
  }
}

void UxWorkArea::beginWork(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  begin(text, false);
}

void UxWorkArea::startWork(const char* format, ...) {
  interrupted = 0;
  announced = false;
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  begin(text, false);
}

void UxWorkArea::startBusy(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatText(format, args);
  va_end(args);
  begin(text, true);
}

void UxWorkArea::setWorkText(const char* format, ...) {
  if (tasks.empty()) return;
  va_list args;
  va_start(args, format);
  tasks.back().text = formatText(format, args);
  va_end(args);
  if (onTerminal()) showTerminal(tasks.back(), false);
}

void UxWorkArea::setProgress(float fraction) {
  if (tasks.empty()) return;
  tasks.back().fraction = clampFraction(fraction);
  show(tasks.back(), false);
}

void UxWorkArea::endWork() {
  if (tasks.empty()) return;
  show(tasks.back(), true);
  tasks.pop_back();
  working = tasks.empty() ? 0 : 1;
}

void UxWorkArea::stopWork() { endWork(); }

void UxWorkArea::show(Task& task, bool finished) {
  if (!onTerminal()) {
    showPlain(task, finished);
    return;
  }
  const bool unchanged = static_cast<int>(task.fraction * 100.0f) == task.shownStep;
  if (finished || task.busy || !unchanged) showTerminal(task, finished);
}

void UxWorkArea::showPlain(Task& task, bool finished) {
  if (finished) {
    UxMessage::getTheMsg()->printf("%s: done", task.text.c_str());
    return;
  }
  const int quarter = static_cast<int>(task.fraction * 4.0f);
  if (task.busy || quarter <= task.shownStep || quarter >= 4) return;
  task.shownStep = quarter;
  UxMessage::getTheMsg()->printf("%s: %d%%", task.text.c_str(), quarter * 25);
}

void UxWorkArea::showTerminal(Task& task, bool finished) {
  const int percent = static_cast<int>(task.fraction * 100.0f);
  if (finished) {
    std::printf("\r%s: done\033[K\n", task.text.c_str());
  } else if (task.busy) {
    std::printf("\r%s ...\033[K", task.text.c_str());
  } else {
    const int filled = percent * kBarWidth / 100;
    std::printf("\r%s [%s%s] %3d%%\033[K", task.text.c_str(), std::string(filled, '#').c_str(),
                std::string(kBarWidth - filled, ' ').c_str(), percent);
  }
  task.shownStep = percent;
  std::fflush(stdout);
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
    UxMessage::getTheMsg()->printf("interrupted");
  }
  return interrupted ? 1 : 0;
}

void UxWorkArea::interruptAfterChecks(int checks) { checksBeforeInterrupt = checks < 0 ? -1 : checks; }

void UxWorkArea::installInterruptHandler() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}
