#pragma once
// UxResource: turns files into host objects through the readers that packages
// register for a content type.
//
// loadData opens a folder holding a Zarr group (an lda store or another
// OME-Zarr image) as a UxLdaData (host/lda/UxLdaData.h). Any other file it
// reads as a KorinMesh, finds the reader registered for its "ContentType"
// string and calls it; the reader makes the object and hands it to the pool
// with UxData::registerData. The result is the object the reader
// registered, or null after a console message (unless quiet) when the file
// cannot be read, no reader is registered for its type, or the reader fails
// or registers nothing. The mesh is deleted in every case.
class KorinMesh;
class UxData;

typedef int (*UxDataReader)(KorinMesh* mesh, const char* path);

class UxResource {
 public:
  static UxData* loadData(const char* filename, bool quiet);
  // A later registration for the same content type replaces the earlier one;
  // a null reader removes it.
  static void registerReader(const char* contentType, UxDataReader reader);
  static UxDataReader findReader(const char* contentType);
};
