#pragma once
// UxFileDialog: asks for one or more file names.
//
// A batch run never waits: postAndWait takes the oldest "file" answer queued
// in UxBatchAnswers (its words are the file names); with none queued the
// dialog counts as cancelled. Only when the shell is interactive and standard
// input is a terminal does it ask on the terminal (an empty line cancels).
// Either way the console says what was asked and which answer was taken.
// getFileName answers "" for an index without a name; nothing fails loudly.
#include <string>
#include <vector>

class UxFileDialog {
 public:
  enum Usage { OPEN_FILE = 0, OPEN_FILES = 1, SAVE_FILE = 2, CHOOSE_DIRECTORY = 3 };

  UxFileDialog();

  void setDialogUsage(int usage);
  void setTitle(const char* title);
  // 1 accepted with at least one name, 0 cancelled.
  int postAndWait();

  const char* getFileName(int index) const;
  int getNumFileNames() const { return static_cast<int>(names.size()); }

 private:
  std::string describe() const;
  bool askTerminal();

  int usage = OPEN_FILE;
  std::string title;
  std::vector<std::string> names;
};
