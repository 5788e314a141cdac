#include "host/dialogs/QxImReadDialog.h"

#include <unistd.h>

#include <QString>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/console/UxMessage.h"

namespace {

const char kBoxWord[] = "-bbox";
const char kChannelWord[] = "-channel";
const char kCancelWord[] = "cancel";
const int kChannelOptions[] = {0, 1, 2, 3, 4, 5, 10};

UxMessage& console() { return *UxMessage::getTheMsg(); }

bool parseFloat(const std::string& word, float& value) {
  char* end = nullptr;
  errno = 0;
  const float parsed = std::strtof(word.c_str(), &end);
  if (end == word.c_str() || *end != '\0' || errno == ERANGE || !std::isfinite(parsed)) return false;
  value = parsed;
  return true;
}

bool parseChannelOption(const std::string& word, int& option) {
  char* end = nullptr;
  const long parsed = std::strtol(word.c_str(), &end, 10);
  if (end == word.c_str() || *end != '\0') return false;
  for (int known : kChannelOptions)
    if (parsed == known) {
      option = known;
      return true;
    }
  return false;
}

std::vector<std::string> splitWords(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream stream(line);
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

const char* defaultsNote(bool boxGiven, bool channelGiven) {
  if (boxGiven && channelGiven) return "";
  if (boxGiven) return ", default channel";
  if (channelGiven) return ", default box";
  return ", default box and channel";
}

}  // namespace

QxImReadDialog::QxImReadDialog(QWidget*, const char* name, bool, Qt::WindowFlags) : QObject(nullptr) {
  if (name) setObjectName(QString::fromUtf8(name));
  defaultBox(box);
}

QxImReadDialog::~QxImReadDialog() = default;

void QxImReadDialog::setDims(int* newDims, int newChannels, const char* file, int, float*, int, int) {
  for (int a = 0; a < 3; ++a) dims[a] = newDims ? newDims[a] : 0;
  channels = newChannels;
  firstFile = file ? file : "";
  defaultBox(box);
  convertMethod = defaultChannel();
}

void QxImReadDialog::getBox(float* out) const {
  if (!out) return;
  for (int i = 0; i < 6; ++i) out[i] = box[i];
}

void QxImReadDialog::defaultBox(float* out) const {
  for (int a = 0; a < 3; ++a) {
    out[2 * a] = 0;
    out[2 * a + 1] = dims[a] > 0 ? static_cast<float>(dims[a] - 1) : 0;
  }
}

int QxImReadDialog::defaultChannel() const { return channels > 1 ? WEIGHTED_AVERAGE : CHANNEL_1; }

std::string QxImReadDialog::describe() const {
  char text[160];
  std::snprintf(text, sizeof text, "image dialog: stack of %d x %d x %d, %d channel%s, first image ",
                dims[0], dims[1], dims[2], channels, channels == 1 ? "" : "s");
  return text + firstFile;
}

bool QxImReadDialog::parseBox(const std::vector<std::string>& words, size_t at, Answer& answer,
                              std::string& why) const {
  if (answer.boxGiven) {
    why = "-bbox given twice";
    return false;
  }
  for (int i = 0; i < 6; ++i) {
    if (at + i >= words.size()) {
      why = "-bbox expects six numbers, got " + std::to_string(i);
      return false;
    }
    if (!parseFloat(words[at + i], answer.box[i])) {
      why = "-bbox expects six numbers: \"" + words[at + i] + "\" is not a number";
      return false;
    }
  }
  for (int a = 0; a < 3; ++a)
    if (answer.box[2 * a] > answer.box[2 * a + 1]) {
      why = std::string("-bbox: the ") + "xyz"[a] + " minimum lies above the maximum";
      return false;
    }
  answer.boxGiven = true;
  return true;
}

bool QxImReadDialog::parseChannel(const std::vector<std::string>& words, size_t at, Answer& answer,
                                  std::string& why) const {
  if (answer.channelGiven) {
    why = "-channel given twice";
    return false;
  }
  const std::string word = at < words.size() ? words[at] : "";
  if (!parseChannelOption(word, answer.channel)) {
    why = "-channel expects one of 0 1 2 3 4 5 10, got \"" + word + "\"";
    return false;
  }
  answer.channelGiven = true;
  return true;
}

bool QxImReadDialog::parse(const std::vector<std::string>& words, Answer& answer,
                           std::string& why) const {
  if (words.size() == 1 && words[0] == kCancelWord) {
    answer.cancel = true;
    return true;
  }
  for (size_t at = 0; at < words.size();) {
    const std::string& word = words[at];
    if (word == kBoxWord) {
      if (!parseBox(words, at + 1, answer, why)) return false;
      at += 7;
    } else if (word == kChannelWord) {
      if (!parseChannel(words, at + 1, answer, why)) return false;
      at += 2;
    } else {
      why = word == kCancelWord ? "cancel must stand alone"
                                : "unknown word \"" + word + "\": expected -bbox, -channel or cancel";
      return false;
    }
  }
  return true;
}

bool QxImReadDialog::askTerminal(Answer& answer) const {
  for (;;) {
    std::fputs("image stack (-bbox XMIN XMAX YMIN YMAX ZMIN ZMAX, -channel C; "
               "empty line for defaults, cancel)> ",
               stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) return false;
    Answer fresh;
    std::string why;
    if (parse(splitWords(line), fresh, why)) {
      answer = fresh;
      return true;
    }
    console().printf("image dialog: %s", why.c_str());
  }
}

int QxImReadDialog::take(const Answer& answer, const char* source) {
  if (answer.cancel) {
    console().printf("answer: cancel (%s)", source);
    return 0;
  }
  if (answer.boxGiven)
    for (int i = 0; i < 6; ++i) box[i] = answer.box[i];
  else
    defaultBox(box);
  convertMethod = answer.channelGiven ? answer.channel : defaultChannel();
  console().printf("answer: -bbox %g %g %g %g %g %g -channel %d (%s%s)", box[0], box[1], box[2],
                   box[3], box[4], box[5], convertMethod, source,
                   defaultsNote(answer.boxGiven, answer.channelGiven));
  return 1;
}

int QxImReadDialog::exec() {
  console().printf("%s", describe().c_str());
  Answer answer;
  std::vector<std::string> words;
  if (UxBatchAnswers::pop(UxBatchAnswers::IMAGE, words)) {
    std::string why;
    if (parse(words, answer, why)) return take(answer, "script");
    console().printf("image dialog: %s", why.c_str());
    console().printf("answer: cancel (script, malformed)");
    return 0;
  }
  if (UxBatchAnswers::interactive() && isatty(STDIN_FILENO)) {
    if (!askTerminal(answer)) answer.cancel = true;
    return take(answer, "terminal");
  }
  answer.cancel = true;
  return take(answer, "default");
}
