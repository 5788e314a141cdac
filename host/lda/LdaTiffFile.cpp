#include "host/lda/LdaTiffFile.h"

#include <tiffio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "host/base/TbFileContents.h"
#include "host/base/TbFileIO.h"

namespace {

TbFileIO& io() { return TbFileIO::current(); }

// Pieces above LdaTiffFile::kLargestPiece are not decoded whole: strips are
// read row by row instead, tiles by the host's image readers.
const tmsize_t kPieceLimit = static_cast<tmsize_t>(LdaTiffFile::kLargestPiece);
// What libtiff may allocate at once for a crafted file's claims.
const tmsize_t kLargestAllocation = tmsize_t(256) << 20;

using Handle = LdaTiffFile::Handle;

struct ClientIO {
  static tmsize_t read(thandle_t h, void* data, tmsize_t n) {
    auto* handle = static_cast<Handle*>(h);
    const int64_t got = io().pread(handle->fd, data, n, handle->position);
    if (got > 0) handle->position += got;
    return got;
  }
  static tmsize_t write(thandle_t, void*, tmsize_t) { return -1; }
  static toff_t seek(thandle_t h, toff_t offset, int whence) {
    auto* handle = static_cast<Handle*>(h);
    const int64_t base = whence == SEEK_CUR ? handle->position : whence == SEEK_END ? handle->size : 0;
    const int64_t to = base + static_cast<int64_t>(offset);
    if (to < 0) return static_cast<toff_t>(-1);
    handle->position = to;
    return static_cast<toff_t>(to);
  }
  static int close(thandle_t) { return 0; }
  static toff_t size(thandle_t h) { return static_cast<toff_t>(static_cast<Handle*>(h)->size); }
  static int map(thandle_t, void**, toff_t*) { return 0; }
  static void unmap(thandle_t, void*, toff_t) {}
};

int ignoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

template <class T>
T field(TIFF* file, uint32_t tag, T fallback) {
  T value = fallback;
  return TIFFGetField(file, tag, &value) == 1 ? value : fallback;
}

}  // namespace

int LdaTiffFile::onError(TIFF*, void* self, const char*, const char* format, va_list args) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, args);
  static_cast<LdaTiffFile*>(self)->lastError = text;
  return 1;
}

std::unique_ptr<LdaTiffFile> LdaTiffFile::open(const std::string& path, std::string& why) {
  std::unique_ptr<LdaTiffFile> tiffFile(new LdaTiffFile);
  const int fd = openRegularFile(path, why);
  if (fd < 0) {
    if (why.empty()) why = std::strerror(ENOENT);
    return nullptr;
  }
  TbFileInfo info;
  io().fstat(fd, &info);
  tiffFile->handle = {fd, 0, info.size};
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, kLargestAllocation);
  TIFFOpenOptionsSetErrorHandlerExtR(options, onError, tiffFile.get());
  TIFFOpenOptionsSetWarningHandlerExtR(options, ignoreWarning, nullptr);
  tiffFile->file = TIFFClientOpenExt(path.c_str(), "rm", &tiffFile->handle, ClientIO::read, ClientIO::write, ClientIO::seek,
                                     ClientIO::close, ClientIO::size, ClientIO::map, ClientIO::unmap, options);
  TIFFOpenOptionsFree(options);
  if (!tiffFile->file) {
    why = tiffFile->lastError.empty() ? "not a TIFF file" : tiffFile->lastError;
    return nullptr;
  }
  tiffFile->current = 0;
  tiffFile->describePage();
  return tiffFile;
}

LdaTiffFile::~LdaTiffFile() {
  if (file) TIFFClose(file);
  if (handle.fd >= 0) io().close(handle.fd);
}

int LdaTiffFile::pageCount() {
  const tdir_t count = TIFFNumberOfDirectories(file);
  return static_cast<int>(std::min<tdir_t>(count, 1 << 30));
}

bool LdaTiffFile::selectPage(int page) {
  if (page == current) return true;
  const bool moved = page == current + 1 ? TIFFReadDirectory(file) == 1
                                         : page >= 0 && TIFFSetDirectory(file, static_cast<tdir_t>(page)) == 1;
  current = moved ? page : -1;
  return moved && describePage();
}

bool LdaTiffFile::describePage() {
  cachedPiece = -1;
  width = static_cast<int>(std::min<uint32_t>(field<uint32_t>(file, TIFFTAG_IMAGEWIDTH, 0), INT32_MAX));
  height = static_cast<int>(std::min<uint32_t>(field<uint32_t>(file, TIFFTAG_IMAGELENGTH, 0), INT32_MAX));
  const uint16_t samples = field<uint16_t>(file, TIFFTAG_SAMPLESPERPIXEL, 1);
  const uint16_t bits = field<uint16_t>(file, TIFFTAG_BITSPERSAMPLE, 1);
  const uint16_t photometric = field<uint16_t>(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  const uint16_t planar = field<uint16_t>(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  const uint16_t format = field<uint16_t>(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  const uint16_t orientation = field<uint16_t>(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  const uint16_t compression = field<uint16_t>(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  const bool grey = photometric == PHOTOMETRIC_MINISBLACK && samples == 1 && (bits == 8 || bits == 16);
  const bool rgb = photometric == PHOTOMETRIC_RGB && samples == 3 && bits == 8 && planar == PLANARCONFIG_CONTIG;
  channels = samples;
  sampleBytes = bits / 8;
  tiled = TIFFIsTiled(file) != 0;
  direct = (grey || rgb) && format == SAMPLEFORMAT_UINT && orientation == ORIENTATION_TOPLEFT && width > 0 &&
           height > 0 && TIFFIsCODECConfigured(compression);
  if (!direct) return true;
  if (tiled) {
    pieceWidth = field<uint32_t>(file, TIFFTAG_TILEWIDTH, 0);
    pieceHeight = field<uint32_t>(file, TIFFTAG_TILELENGTH, 0);
    direct = pieceWidth > 0 && pieceHeight > 0 && TIFFTileSize(file) > 0 && TIFFTileSize(file) <= kPieceLimit;
  } else {
    pieceWidth = static_cast<uint32_t>(width);
    pieceHeight = std::min<uint32_t>(field<uint32_t>(file, TIFFTAG_ROWSPERSTRIP, UINT32_MAX), static_cast<uint32_t>(height));
    direct = pieceHeight > 0 && TIFFScanlineSize(file) > 0;
  }
  return true;
}

bool LdaTiffFile::decodePiece(uint32_t piece, std::string& why) {
  if (cachedPiece == static_cast<int64_t>(piece)) return true;
  cachedPiece = -1;
  const tmsize_t bytes = tiled ? TIFFTileSize(file) : TIFFStripSize(file);
  pieceBuffer.resize(static_cast<size_t>(bytes));
  const tmsize_t got = tiled ? TIFFReadEncodedTile(file, piece, pieceBuffer.data(), bytes)
                             : TIFFReadEncodedStrip(file, piece, pieceBuffer.data(), bytes);
  if (got < 0) {
    why = lastError.empty() ? "a strip or tile cannot be decoded" : lastError;
    return false;
  }
  cachedPiece = piece;
  return true;
}

bool LdaTiffFile::readFromStrips(const LdaRegion& region, unsigned char* out, std::string& why) {
  const size_t pixel = static_cast<size_t>(channels) * sampleBytes;
  const size_t rowBytes = static_cast<size_t>(width) * pixel;
  const bool wholeStrips = TIFFStripSize(file) <= kPieceLimit;
  if (!wholeStrips) pieceBuffer.resize(static_cast<size_t>(TIFFScanlineSize(file)));
  for (int y = region.y0; y < region.y0 + region.height; ++y, out += region.width * pixel) {
    const unsigned char* row;
    if (wholeStrips) {
      if (!decodePiece(static_cast<uint32_t>(y) / pieceHeight, why)) return false;
      row = pieceBuffer.data() + (static_cast<uint32_t>(y) % pieceHeight) * rowBytes;
    } else {
      if (TIFFReadScanline(file, pieceBuffer.data(), static_cast<uint32_t>(y), 0) != 1) {
        why = lastError.empty() ? "a row cannot be decoded" : lastError;
        return false;
      }
      row = pieceBuffer.data();
    }
    std::memcpy(out, row + region.x0 * pixel, region.width * pixel);
  }
  return true;
}

bool LdaTiffFile::readFromTiles(const LdaRegion& region, unsigned char* out, std::string& why) {
  const size_t pixel = static_cast<size_t>(channels) * sampleBytes;
  const int64_t x1 = int64_t(region.x0) + region.width, y1 = int64_t(region.y0) + region.height;
  for (int64_t ty = region.y0 / pieceHeight * pieceHeight; ty < y1; ty += pieceHeight)
    for (int64_t tx = region.x0 / pieceWidth * pieceWidth; tx < x1; tx += pieceWidth) {
      if (!decodePiece(TIFFComputeTile(file, static_cast<uint32_t>(tx), static_cast<uint32_t>(ty), 0, 0), why))
        return false;
      const int64_t left = std::max<int64_t>(tx, region.x0), right = std::min<int64_t>(tx + pieceWidth, x1);
      const int64_t top = std::max<int64_t>(ty, region.y0), bottom = std::min<int64_t>(ty + pieceHeight, y1);
      for (int64_t y = top; y < bottom; ++y)
        std::memcpy(out + ((y - region.y0) * region.width + (left - region.x0)) * pixel,
                    pieceBuffer.data() + ((y - ty) * pieceWidth + (left - tx)) * pixel,
                    static_cast<size_t>(right - left) * pixel);
    }
  return true;
}

bool LdaTiffFile::readRegion(const LdaRegion& region, unsigned char* out, std::string& why) {
  if (!direct || current < 0) {
    why = "the page is not one this reader decodes";
    return false;
  }
  return tiled ? readFromTiles(region, out, why) : readFromStrips(region, out, why);
}
