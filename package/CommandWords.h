#pragma once
// Reading numbers from command words the way the host's commands do.
#include <cstdlib>

// The word's leading base-10 integer, as strtol reads it: text that does not
// begin with a number reads as 0, trailing text is ignored.
inline int leadingInt(const char* word) { return static_cast<int>(std::strtol(word, nullptr, 10)); }
