#include "convert/ConversionWords.h"

#include <cstdio>
#include <cstring>

#include "convert/ConverterMessages.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

// Reads a leading decimal integer as "%d" does; an empty or blank word reads as
// 0, a word starting with anything else is refused.
bool readOptionInt(const char* word, int& value) {
  value = 0;
  return std::sscanf(word, "%d", &value) != 0;
}

struct Option {
  const char* name;
  int ConversionSettings::*value;  // integer options
  const char* badValue;            // message for a value that holds no integer
};

const Option kOptions[] = {
    {"-tilesize", &ConversionSettings::tileSize, "%s is not a valid tilesize"},
    {"-bordersize", &ConversionSettings::borderSize, "%s is not a valid bordersize"},
    {"-compressor", nullptr, nullptr},
    {"-s", &ConversionSettings::samplingType, "%s is not a valid sampling type"},
};

// Options follow the output name, each recognised only in the table's order.
bool takeOptions(ConversionSettings& s) {
  for (const Option& option : kOptions) {
    if (s.words.size() < 8) break;
    if (std::strcmp(s.words[6], option.name) != 0) continue;
    const char* value = s.words[7];
    if (!option.value) {
      s.compressor = value;
      s.compressorNamed = true;
    } else if (!readOptionInt(value, s.*option.value)) {
      console().printf(option.badValue, value);
      return false;
    }
    s.words.erase(s.words.begin() + 6, s.words.begin() + 8);
  }
  return true;
}

}  // namespace

int readCommandWords(ConversionSettings& s, int argc, char** argv, InputList& inputs) {
  s.words.assign(argv, argv + argc);
  if (argc > 2) {
    if (std::strcmp(argv[2], "-format") != 0) {
      console().printf("%s", kConvertUsage);
      return 0;
    }
    if (argc < 4) {
      console().printf("no format specified");
      return 0;
    }
    s.format = argv[3];
  }
  s.argc = argc;
  if (argc < 5) return 1;
  if (std::strcmp(argv[4], "-lda") != 0) {
    console().printf("%s", kConvertUsage);
    return 0;
  }
  if (argc < 6) {
    console().printf("no lda directory specified");
    return 0;
  }
  s.outName = argv[5];
  s.outNameGiven = true;
  if (!takeOptions(s)) return 0;
  for (size_t i = 6; i < s.words.size(); ++i) inputs.append(strdup(s.words[i]));
  s.argc = static_cast<int>(s.words.size()) - 6;
  s.argv = s.argc > 0 ? s.words.data() + 6 : nullptr;
  return 1;
}

