#include "host/console/UxMessage.h"

#include <strings.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "host/base/TbString.h"
#include "host/console/UxWorkArea.h"
#include "host/dialogs/UxBatchAnswers.h"

namespace {

int countButtons(const char* const* buttons) {
  int n = 0;
  while (n < 3 && buttons[n]) ++n;
  return n;
}

// A queued word names a button by label (any case) or by index.
int buttonFromWord(const std::string& word, const char* const* buttons, int n) {
  for (int i = 0; i < n; ++i)
    if (strcasecmp(word.c_str(), buttons[i]) == 0) return i;
  char* end = nullptr;
  long index = std::strtol(word.c_str(), &end, 10);
  if (end != word.c_str() && *end == '\0' && index >= 0 && index < n) return static_cast<int>(index);
  return -1;
}

int defaultButton(const char* const* buttons, int n) {
  for (int i = 0; i < n; ++i)
    if (strcasecmp(buttons[i], "No") == 0) return i;
  return 0;
}

int askTerminal(const char* const* buttons, int n) {
  for (;;) {
    std::fputs("answer> ", stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) return -1;
    int chosen = buttonFromWord(line, buttons, n);
    if (chosen >= 0) return chosen;
  }
}

}  // namespace

UxMessage* UxMessage::getTheMsg() {
  static UxMessage theMsg;
  return &theMsg;
}

void UxMessage::setListener(std::function<void(const std::string&)> l) { listener = std::move(l); }

void UxMessage::showLine(const std::string& text) {
  UxWorkArea::getTheWorkArea()->clearBar();
  std::fflush(stdout);
  std::fputs(text.c_str(), stdout);
  if (text.empty() || text.back() != '\n') std::fputc('\n', stdout);
  std::fflush(stdout);
  if (listener) listener(text);
}

void UxMessage::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  TbString text;
  text.vprintf(format, args);
  va_end(args);
  showLine(text.str());
}

int UxMessage::ask(const char* kind, const char* text, const char* const* buttons) {
  int n = countButtons(buttons);
  std::string offer;
  for (int i = 0; i < n; ++i) offer += std::string(i ? "/" : "") + buttons[i];
  showLine(std::string(kind) + ": " + text + " [" + offer + "]");
  if (n == 0) return 0;

  std::vector<std::string> words;
  int chosen = -1;
  const char* source = "default";
  if (UxBatchAnswers::pop(UxBatchAnswers::WARNING, words) && !words.empty()) {
    chosen = buttonFromWord(words[0], buttons, n);
    source = chosen >= 0 ? "script" : "default, the script's answer matched no button";
  } else if (UxBatchAnswers::interactive() && isatty(STDIN_FILENO)) {
    chosen = askTerminal(buttons, n);
    source = "terminal";
  }
  if (chosen < 0) chosen = defaultButton(buttons, n);
  showLine(std::string("answer: ") + buttons[chosen] + " (" + source + ")");
  return chosen;
}

int UxMessage::warning(const char* text, const char* b0, const char* b1, const char* b2, int, int) {
  const char* buttons[3] = {b0, b0 ? b1 : nullptr, b0 && b1 ? b2 : nullptr};
  return ask("question", text, buttons);
}

int UxMessage::error(const char* text, const char* b0, const char* b1, const char* b2, int, int) {
  const char* buttons[3] = {b0, b0 ? b1 : nullptr, b0 && b1 ? b2 : nullptr};
  return ask("error", text, buttons);
}
