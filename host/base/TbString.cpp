#include "host/base/TbString.h"

#include <cstdarg>
#include <cstdio>

TbString& TbString::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vprintf(format, args);
  va_end(args);
  return *this;
}

TbString& TbString::vprintf(const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  int length = std::vsnprintf(nullptr, 0, format, args);
  if (length < 0) length = 0;
  text.assign(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(&text[0], text.size(), format, again);
  va_end(again);
  text.resize(static_cast<size_t>(length));
  return *this;
}
