#pragma once
// TbFilename: a string naming a file, with the file operations the host offers.
// The queries answer false (or -1 for fileSize) when the file cannot be
// inspected; none of them prints anything.
#include <cstdint>

#include "host/base/TbString.h"

class TbFilename : public TbString {
 public:
  using TbString::TbString;
  TbFilename() = default;
  TbFilename& operator=(const char* s) {
    TbString::operator=(s);
    return *this;
  }

  bool doesExist() const;
  bool isReadable() const;
  bool isWriteable() const;
  // Removes the file; 0 on success, -1 on failure (as unlink(2)).
  int unlink() const;
  // The part after the last '/', pointing into this string.
  const char* basename() const;
  // Drops the extension (from the last '.' of the base name on), in place.
  void removeExtension();
  // Size in bytes, or -1 when the file cannot be inspected.
  int64_t fileSize() const;
};
