#include "host/dialogs/UxFileDialog.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <sstream>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/console/UxMessage.h"

namespace {

const char* usageName(int usage) {
  switch (usage) {
    case UxFileDialog::OPEN_FILE: return "open";
    case UxFileDialog::OPEN_FILES: return "open several";
    case UxFileDialog::SAVE_FILE: return "save";
    case UxFileDialog::CHOOSE_DIRECTORY: return "choose folder";
    default: return "file";
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

}  // namespace

UxFileDialog::UxFileDialog() = default;

void UxFileDialog::setDialogUsage(int newUsage) { usage = newUsage; }

void UxFileDialog::setTitle(const char* newTitle) { title = newTitle ? newTitle : ""; }

std::string UxFileDialog::describe() const {
  return "file dialog \"" + title + "\" (" + usageName(usage) + ")";
}

bool UxFileDialog::askTerminal() {
  std::fputs("file name (empty line cancels)> ", stdout);
  std::fflush(stdout);
  std::string line;
  if (!std::getline(std::cin, line)) return false;
  std::istringstream words(line);
  for (std::string word; words >> word;) names.push_back(word);
  return !names.empty();
}

int UxFileDialog::postAndWait() {
  names.clear();
  UxMessage* console = UxMessage::getTheMsg();
  console->printf("%s", describe().c_str());
  const char* source = "default";
  if (UxBatchAnswers::pop(UxBatchAnswers::FILE, names)) {
    source = "script";
  } else if (UxBatchAnswers::interactive() && isatty(STDIN_FILENO)) {
    askTerminal();
    source = "terminal";
  }
  if (names.empty()) {
    console->printf("answer: cancel (%s)", source);
    return 0;
  }
  console->printf("answer: %s (%s)", joined(names).c_str(), source);
  return 1;
}

const char* UxFileDialog::getFileName(int index) const {
  if (index < 0 || index >= getNumFileNames()) return "";
  return names[index].c_str();
}
