#pragma once
// Collects what the host console prints while the object lives, and clears the
// dialog answer queues on both ends so tests do not leak answers to each other.
#include <string>
#include <vector>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/console/UxMessage.h"

class ConsoleCapture {
 public:
  ConsoleCapture() {
    UxBatchAnswers::clear();
    UxMessage::getTheMsg()->setListener([this](const std::string& line) { lines.push_back(line); });
  }
  ~ConsoleCapture() {
    UxMessage::getTheMsg()->setListener(nullptr);
    UxBatchAnswers::clear();
  }
  bool saw(const std::string& text) const {
    for (const auto& line : lines)
      if (line == text) return true;
    return false;
  }
  int count(const std::string& prefix) const {
    int n = 0;
    for (const auto& line : lines)
      if (line.compare(0, prefix.size(), prefix) == 0) ++n;
    return n;
  }
  std::vector<std::string> lines;
};
