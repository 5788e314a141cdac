#pragma once
// TbString: the host's string. Always holds a terminated C string (empty, never
// null). printf replaces the content with the formatted text.
#include <cstdarg>
#include <string>

class TbString {
 public:
  TbString() = default;
  TbString(const char* text) : text(text ? text : "") {}  // NOLINT: host strings convert from C strings
  TbString(const std::string& s) : text(s) {}             // NOLINT

  const char* getString() const { return text.c_str(); }
  // Writable characters, for in-place edits that keep the length.
  char* data() { return &text[0]; }
  int getLength() const { return static_cast<int>(text.size()); }
  bool isEmpty() const { return text.empty(); }

  TbString& printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  TbString& vprintf(const char* format, va_list args);
  TbString& operator=(const char* s) {
    text = s ? s : "";
    return *this;
  }
  TbString& operator+=(const char* s) {
    text += s ? s : "";
    return *this;
  }
  bool operator==(const char* s) const { return s && text == s; }
  bool operator!=(const char* s) const { return !(*this == s); }
  const std::string& str() const { return text; }

 protected:
  std::string text;
};
