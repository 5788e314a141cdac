#pragma once
// ImageReaders: the host's two ways of loading one image file (PNG, JPEG, BMP,
// TIFF and whatever else the Qt image plug-ins decode).
//
// readImage2 hands back plain interleaved values; readQImage hands back a
// QImage in one of three formats only (Grayscale8, RGB32, ARGB32), so callers
// never meet palettes, premultiplied alpha or 16-bit samples.
//
// On failure (no file name, a missing or undecodable file, no memory) both
// return 0, allocate nothing and leave their out-arguments as they were.
// Neither prints anything: the caller knows best what to tell the user.
// `flags` is reserved; pass 0.
#include "host/base/TbPrimType.h"

class QImage;

// size[0] width, size[1] height, size[2] channels: 1 grey (also a palette
// image whose colours are all grey), 3 RGB, 4 RGBA (any image with alpha).
// pixels.data is a malloc'd buffer (release it with free) of
// width * height * channels values, rows top to bottom, channels interleaved;
// pixels.primType is UINT16 for 16-bit grey images (values as stored in the
// file) and UINT8 for everything else (16-bit colour is reduced to 8 bits).
int readImage2(const char* filename, int size[3], TbTypedPointer& pixels, int flags);

// Palette images become Grayscale8 when all their colours are grey, else RGB32
// (ARGB32 when the palette has alpha); premultiplied alpha becomes ARGB32;
// 16-bit grey becomes Grayscale8 holding value / 257 rounded.
int readQImage(const char* filename, QImage* image, int flags);

// The images (pages) the file holds: more than 1 only for multi-page files
// such as TIFF stacks; 0 when the file cannot be decoded.
int imagePageCount(const char* filename);
// As readImage2 and readQImage, for page `page` (from 0) of the file; 0 for a
// page the file does not have.
int readImage2Page(const char* filename, int page, int size[3], TbTypedPointer& pixels, int flags);
int readQImagePage(const char* filename, int page, QImage* image, int flags);
