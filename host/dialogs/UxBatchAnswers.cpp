#include "host/dialogs/UxBatchAnswers.h"

#include <cstring>
#include <deque>

namespace {
const char* const kKindNames[UxBatchAnswers::NUM_KINDS] = {"warning", "file", "raw", "image",
                                                           "question"};

struct Queues {
  std::deque<std::vector<std::string>> byKind[UxBatchAnswers::NUM_KINDS];
  bool interactive = false;
};

Queues& queues() {
  static Queues theQueues;
  return theQueues;
}
}  // namespace

int UxBatchAnswers::kindFromName(const char* name) {
  for (int k = 0; k < NUM_KINDS; ++k)
    if (name && std::strcmp(name, kKindNames[k]) == 0) return k;
  return -1;
}

const char* UxBatchAnswers::kindName(int kind) {
  return kind >= 0 && kind < NUM_KINDS ? kKindNames[kind] : "?";
}

void UxBatchAnswers::push(int kind, const std::vector<std::string>& words) {
  queues().byKind[kind].push_back(words);
}

bool UxBatchAnswers::pop(int kind, std::vector<std::string>& words) {
  auto& queue = queues().byKind[kind];
  if (queue.empty()) return false;
  words = queue.front();
  queue.pop_front();
  return true;
}

int UxBatchAnswers::pending(int kind) { return static_cast<int>(queues().byKind[kind].size()); }

void UxBatchAnswers::clear() {
  for (auto& queue : queues().byKind) queue.clear();
}

bool UxBatchAnswers::interactive() { return queues().interactive; }

void UxBatchAnswers::setInteractive(bool on) { queues().interactive = on; }
