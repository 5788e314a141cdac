#pragma once
// LdaTiffFile: one TIFF file read with libtiff through the file seam, a page
// at a time and a region of a page at a time, so that reading costs the
// memory of one strip or tile, never of a whole page.
//
// open answers null with `why` set (libtiff's own words) for a file that is
// not a TIFF libtiff can open; pageCount walks the file's directories once.
// selectPage makes a page the current one (cheaply when pages are taken in
// order) and answers false for a page the file does not have. The current
// page is read directly when it holds grey samples of 8 or 16 bits (black is
// 0) or RGB samples of 8 bits, interleaved, in the usual orientation:
// readsDirectly says so, and readRegion then fills a rectangle of the page
// with its samples, channels together, 16-bit values in the host's byte
// order. Any other page (a palette, alpha, 1-bit, YCbCr, separate planes, a
// rotated page) is the caller's to decode some other way. readRegion answers
// false with `why` set when a strip or tile cannot be decoded. libtiff's
// messages never reach standard error; the last error is kept for `why`.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/lda/LdaSlabSource.h"

struct tiff;

class LdaTiffFile {
 public:
  static std::unique_ptr<LdaTiffFile> open(const std::string& path, std::string& why);
  ~LdaTiffFile();
  LdaTiffFile(const LdaTiffFile&) = delete;
  LdaTiffFile& operator=(const LdaTiffFile&) = delete;

  int pageCount();
  bool selectPage(int page);
  bool readsDirectly() const { return direct; }
  bool readRegion(const LdaRegion& region, unsigned char* out, std::string& why);
  // The most held for decoding: one strip or tile up to this size, else a row.
  static const size_t kLargestPiece = size_t(64) << 20;

  int width = 0, height = 0;
  int channels = 1;      // 1 grey, 3 RGB
  int sampleBytes = 1;   // of one channel: 1 or 2

  // What libtiff's client calls read through.
  struct Handle {
    int fd = -1;
    int64_t position = 0;
    int64_t size = 0;
  };

 private:
  LdaTiffFile() = default;
  bool describePage();
  bool decodePiece(uint32_t piece, std::string& why);
  bool readFromStrips(const LdaRegion& region, unsigned char* out, std::string& why);
  bool readFromTiles(const LdaRegion& region, unsigned char* out, std::string& why);

  static int onError(tiff*, void* self, const char* module, const char* format, va_list args);

  Handle handle;
  tiff* file = nullptr;
  int current = -1;
  bool direct = false;
  bool tiled = false;
  uint32_t pieceWidth = 0, pieceHeight = 0;  // of a tile, or the width and rows of a strip
  std::vector<unsigned char> pieceBuffer;
  int64_t cachedPiece = -1;
  std::string lastError;
};
