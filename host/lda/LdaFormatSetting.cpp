#include "host/lda/LdaFormatSetting.h"

#include <cstring>

namespace {

int current = 4;

}  // namespace

int LdaFormatSetting::version() { return current; }

void LdaFormatSetting::set(int version) { current = version == 5 ? 5 : 4; }

bool LdaFormatSetting::parse(const char* text, int& version) {
  if (!text) return false;
  if (std::strcmp(text, "0.4") == 0) version = 4;
  else if (std::strcmp(text, "0.5") == 0) version = 5;
  else return false;
  return true;
}

const char* LdaFormatSetting::name(int version) { return version == 5 ? "0.5" : "0.4"; }
