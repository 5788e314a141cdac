#pragma once
// UxFileFormat: the input file formats the host knows, by label, with the
// extensions each is known by and whether the tiled converter can take it.
//
// The registry is fixed and lives for the whole process; lookups never fail
// loudly: getFileFormatByLabel answers null for an unknown label, recognize
// answers null for a file it cannot place. recognize looks at the file's
// first bytes first and falls back to its extension, so a file that cannot be
// read (or does not exist yet) is placed by its extension alone. Raw data has
// no signature and is only ever placed by extension.
#include <cstddef>

class UxFileFormat {
 public:
  // True when the first bytes of a file (n of them; fewer for a short file)
  // carry the format's signature.
  using Signature = bool (*)(const unsigned char* head, size_t n);

  const char* label;
  bool ldaConvertible;
  const char* const* extensions;  // with the dot, lower case; ends with null
  Signature signature;            // null: no signature

  // The extension (compared without case) is one of the format's.
  bool hasExtension(const char* filename) const;

  static int numFileFormats();
  static UxFileFormat* getFileFormat(int index);
  // Compared without case.
  static UxFileFormat* getFileFormatByLabel(const char* label);
  // The label of the file's format, or null.
  static const char* recognize(const char* filename);
  // Ignored for an unknown label.
  static void setLdaConvertible(const char* label, bool convertible);
};
