#pragma once
// UxBatchAnswers: the answers to the host's dialogs, queued ahead of time by a
// script (the shell's `answer` command) or a test, so that no dialog ever waits
// for a person in a batch run. Each dialog kind has its own queue; a dialog
// takes the oldest answer of its kind, or its stated default when none is queued.
#include <string>
#include <vector>

class UxBatchAnswers {
 public:
  enum Kind { WARNING, FILE, RAW, IMAGE, QUESTION, NUM_KINDS };

  // Kind from its word ("warning", "file", "raw", "image", "question"); -1 when unknown.
  static int kindFromName(const char* name);
  static const char* kindName(int kind);

  static void push(int kind, const std::vector<std::string>& words);
  // Takes the oldest answer of that kind; false when none is queued.
  static bool pop(int kind, std::vector<std::string>& words);
  static int pending(int kind);
  static void clear();

  // True when dialogs may ask on the terminal: set by the interactive shell only.
  static bool interactive();
  static void setInteractive(bool on);
};
