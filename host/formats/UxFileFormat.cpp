#include "host/formats/UxFileFormat.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

namespace {

// DICOM puts its marker after a 128-byte preamble; nothing needs more.
const size_t kHeadBytes = 132;

bool startsWith(const unsigned char* head, size_t n, const char* bytes, size_t length) {
  return n >= length && std::memcmp(head, bytes, length) == 0;
}

bool isKorinMesh(const unsigned char* head, size_t n) { return startsWith(head, n, "korinmesh", 9); }
bool isJpeg(const unsigned char* head, size_t n) { return startsWith(head, n, "\xFF\xD8\xFF", 3); }
bool isSgi(const unsigned char* head, size_t n) { return startsWith(head, n, "\x01\xDA", 2); }
bool isPng(const unsigned char* head, size_t n) {
  return startsWith(head, n, "\x89PNG\r\n\x1A\n", 8);
}
bool isBmp(const unsigned char* head, size_t n) { return startsWith(head, n, "BM", 2); }

bool isTiff(const unsigned char* head, size_t n) {
  return startsWith(head, n, "II*\0", 4) || startsWith(head, n, "MM\0*", 4);
}

// Binary EPS files wrap the PostScript in a header of their own.
bool isEps(const unsigned char* head, size_t n) {
  return startsWith(head, n, "%!PS", 4) || startsWith(head, n, "\xC5\xD0\xD3\xC6", 4);
}

bool isDicom(const unsigned char* head, size_t n) {
  return n >= 132 && std::memcmp(head + 128, "DICM", 4) == 0;
}

const char* const kRawExtensions[] = {".raw", ".dat", ".bin", ".vol", nullptr};
const char* const kMeshExtensions[] = {".km", nullptr};
const char* const kJpegExtensions[] = {".jpg", ".jpeg", nullptr};
const char* const kSgiExtensions[] = {".sgi", ".rgb", nullptr};
const char* const kTiffExtensions[] = {".tif", ".tiff", nullptr};
const char* const kEpsExtensions[] = {".eps", nullptr};
const char* const kPngExtensions[] = {".png", nullptr};
const char* const kBmpExtensions[] = {".bmp", nullptr};
const char* const kDicomExtensions[] = {".dcm", nullptr};

// Signatures are tried in this order; none of them is a prefix of another.
// Raw volumes and the image formats the host decodes itself go through the
// tiled converter unless disk data is asked for.
UxFileFormat theFormats[] = {
    {"Raw Data", true, kRawExtensions, nullptr},
    {"KorinMesh", false, kMeshExtensions, isKorinMesh},
    {"JPEG", true, kJpegExtensions, isJpeg},
    {"SGI", false, kSgiExtensions, isSgi},
    {"TIFF", true, kTiffExtensions, isTiff},
    {"EPS", false, kEpsExtensions, isEps},
    {"PNG", true, kPngExtensions, isPng},
    {"BMP", true, kBmpExtensions, isBmp},
    {"DICOM", false, kDicomExtensions, isDicom},
};

const int kNumFormats = sizeof(theFormats) / sizeof(theFormats[0]);

size_t readHead(const char* filename, unsigned char* head) {
  FILE* file = std::fopen(filename, "rb");
  if (!file) return 0;
  const size_t n = std::fread(head, 1, kHeadBytes, file);
  std::fclose(file);
  return n;
}

const char* extensionOf(const char* filename) {
  const char* slash = std::strrchr(filename, '/');
  const char* base = slash ? slash + 1 : filename;
  return std::strrchr(base, '.');
}

}  // namespace

bool UxFileFormat::hasExtension(const char* filename) const {
  const char* extension = filename ? extensionOf(filename) : nullptr;
  if (!extension) return false;
  for (const char* const* known = extensions; *known; ++known)
    if (strcasecmp(extension, *known) == 0) return true;
  return false;
}

int UxFileFormat::numFileFormats() { return kNumFormats; }

UxFileFormat* UxFileFormat::getFileFormat(int index) {
  return index >= 0 && index < kNumFormats ? &theFormats[index] : nullptr;
}

UxFileFormat* UxFileFormat::getFileFormatByLabel(const char* label) {
  for (UxFileFormat& format : theFormats)
    if (label && strcasecmp(format.label, label) == 0) return &format;
  return nullptr;
}

const char* UxFileFormat::recognize(const char* filename) {
  if (!filename || !*filename) return nullptr;
  unsigned char head[kHeadBytes];
  const size_t n = readHead(filename, head);
  for (const UxFileFormat& format : theFormats)
    if (format.signature && format.signature(head, n)) return format.label;
  for (const UxFileFormat& format : theFormats)
    if (format.hasExtension(filename)) return format.label;
  return nullptr;
}

void UxFileFormat::setLdaConvertible(const char* label, bool convertible) {
  UxFileFormat* format = getFileFormatByLabel(label);
  if (format) format->ldaConvertible = convertible;
}
