#include "host/dialogs/UxReadRawDialog.h"

#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "host/dialogs/UxBatchAnswers.h"
#include "host/console/UxMessage.h"

namespace {

using Settings = UxReadRawDialog::Settings;

// Strict: the whole word, in range, at least `least`.
bool readInt(const std::string& word, int least, int* value) {
  errno = 0;
  char* end = nullptr;
  const long parsed = std::strtol(word.c_str(), &end, 10);
  if (word.empty() || *end != '\0' || errno == ERANGE || parsed < least || parsed > INT_MAX)
    return false;
  *value = static_cast<int>(parsed);
  return true;
}

bool readFloat(const std::string& word, float* value) {
  errno = 0;
  char* end = nullptr;
  const float parsed = std::strtof(word.c_str(), &end);
  if (word.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(parsed)) return false;
  *value = parsed;
  return true;
}

std::string badValue(const std::string& word, const char* expected) {
  return "bad value \"" + word + "\": expected " + expected;
}

std::string takeDims(Settings& s, const std::string* values) {
  for (int i = 0; i < 3; ++i)
    if (!readInt(values[i], 1, &s.dims[i])) return badValue(values[i], "an integer of 1 or more");
  return "";
}

std::string takePrimType(Settings& s, const std::string* values) {
  for (int code = 0; code < TbPrimType::NUM_CODES; ++code) {
    const TbPrimType type(code);
    if (type.isValid() && strcasecmp(type.name(), values[0].c_str()) == 0) {
      s.primType = type;
      return "";
    }
  }
  return badValue(values[0], "uint8, int16, uint16, int32, float or double");
}

std::string takeNDataVar(Settings& s, const std::string* values) {
  return readInt(values[0], 1, &s.nDataVar) ? "" : badValue(values[0], "an integer of 1 or more");
}

std::string takeHeader(Settings& s, const std::string* values) {
  return readInt(values[0], 0, &s.headerBytes) ? "" : badValue(values[0], "an integer of 0 or more");
}

std::string takeEndianess(Settings& s, const std::string* values) {
  if (strcasecmp(values[0].c_str(), "little") == 0 || strcasecmp(values[0].c_str(), "big") == 0) {
    s.bigEndian = strcasecmp(values[0].c_str(), "big") == 0;
    return "";
  }
  return badValue(values[0], "little or big");
}

std::string takeBox(Settings& s, const std::string* values) {
  for (int i = 0; i < 6; ++i)
    if (!readFloat(values[i], &s.box[i])) return badValue(values[i], "a number");
  return "";
}

struct RawOption {
  const char* name;
  int numValues;
  std::string (*take)(Settings& settings, const std::string* values);
};

// -endianness is the spelling people tend to type; both are taken.
const RawOption kRawOptions[] = {
    {"-dims", 3, takeDims},          {"-ptype", 1, takePrimType},
    {"-ndatavar", 1, takeNDataVar},  {"-header", 1, takeHeader},
    {"-endianess", 1, takeEndianess}, {"-endianness", 1, takeEndianess},
    {"-bbox", 6, takeBox},
};

const RawOption* findOption(const std::string& word) {
  for (const RawOption& option : kRawOptions)
    if (word == option.name) return &option;
  return nullptr;
}

// "" when the words were understood; else what was wrong. Later options win.
std::string readWords(const std::vector<std::string>& words, Settings& settings) {
  size_t i = 0;
  while (i < words.size()) {
    const RawOption* option = findOption(words[i]);
    if (!option) return "unknown option \"" + words[i] + "\"";
    if (words.size() - i - 1 < static_cast<size_t>(option->numValues))
      return std::string(option->name) + " needs " + std::to_string(option->numValues) +
             (option->numValues == 1 ? " value" : " values");
    const std::string problem = option->take(settings, &words[i + 1]);
    if (!problem.empty()) return std::string(option->name) + ": " + problem;
    i += 1 + option->numValues;
  }
  return "";
}

bool isCancel(const std::vector<std::string>& words) {
  return words.size() == 1 && strcasecmp(words[0].c_str(), "cancel") == 0;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

}  // namespace

UxReadRawDialog::UxReadRawDialog(int) {}

void UxReadRawDialog::getDims(int* out) const {
  for (int i = 0; i < 3; ++i) out[i] = settings.dims[i];
}

void UxReadRawDialog::getMinMax(float* out) const {
  for (int i = 0; i < 6; ++i) out[i] = settings.box[i];
}

std::string UxReadRawDialog::describeSettings() const {
  const Settings& s = settings;
  char text[320];
  std::snprintf(text, sizeof text,
                "-dims %d %d %d -ptype %s -ndatavar %d -header %d -endianess %s "
                "-bbox %g %g %g %g %g %g",
                s.dims[0], s.dims[1], s.dims[2], s.primType.name(), s.nDataVar, s.headerBytes,
                s.bigEndian ? "big" : "little", s.box[0], s.box[1], s.box[2], s.box[3], s.box[4],
                s.box[5]);
  return text;
}

bool UxReadRawDialog::askTerminal(std::vector<std::string>& words) {
  for (;;) {
    std::fputs("raw data options, or cancel> ", stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) return false;
    words.clear();
    std::istringstream split(line);
    for (std::string word; split >> word;) words.push_back(word);
    Settings trial;
    if (isCancel(words)) return true;
    const std::string problem = readWords(words, trial);
    if (problem.empty()) return true;
    std::printf("%s\n", problem.c_str());
  }
}

int UxReadRawDialog::answerFrom(const std::vector<std::string>& words, const char* source) {
  UxMessage* console = UxMessage::getTheMsg();
  if (isCancel(words)) {
    console->printf("answer: cancel (%s)", source);
    return Rejected;
  }
  const std::string problem = readWords(words, settings);
  if (!problem.empty()) {
    settings = Settings();
    console->printf("raw data answer \"%s\": %s", joined(words).c_str(), problem.c_str());
    console->printf("answer: cancel (%s, the answer could not be read)", source);
    return Rejected;
  }
  console->printf("answer: %s (%s)", describeSettings().c_str(), source);
  return Accepted;
}

int UxReadRawDialog::exec() {
  settings = Settings();
  UxMessage* console = UxMessage::getTheMsg();
  console->printf("raw data dialog: %d file%s, %lld bytes", numFiles, numFiles == 1 ? "" : "s",
                  fileSize);
  std::vector<std::string> words;
  if (UxBatchAnswers::pop(UxBatchAnswers::RAW, words)) return answerFrom(words, "script");
  if (UxBatchAnswers::interactive() && isatty(STDIN_FILENO) && askTerminal(words))
    return answerFrom(words, "terminal");
  console->printf("answer: cancel (default)");
  return Rejected;
}
