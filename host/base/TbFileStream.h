#pragma once
// TbFileStream: a stdio stream whose reads, writes and seeks go through the
// TbFileIO seam, for code written against FILE* (the KorinMesh reader and
// writer), so that fault tests reach it like every other file operation.
//
// Contract: open takes a descriptor from TbFileIO::current().open and owns it
// from then on: fclose closes it through the seam and answers its result. A
// transfer that fails makes the stream's error indicator set and leaves the
// system's reason in errno. null when the stream cannot be made (the
// descriptor is then closed, errno kept). Positions are 64-bit.
#include <cstdio>

namespace TbFileStream {
// mode is "rb" or "wb". The caller may still sync fd (after fflush) until fclose.
FILE* open(int fd, const char* mode);
}  // namespace TbFileStream
