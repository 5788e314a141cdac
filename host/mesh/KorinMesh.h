#pragma once
// KorinMesh: the host's self-describing file of parameters, lattice locations
// and data sections (the syntax is described in docs/korinmesh.md).
//
// The object owns its locations, its sections and their data; the parameters
// are the object itself (it is a UxParamBundle), parameters() returns it.
//
// Failures are results, never exceptions:
// - addLocation returns null for a bad dimension count, a size below 1, more
//   points than an int64 counts, or a name already declared.
// - addSection returns null for a location of another mesh, an unknown type,
//   fewer than one component, an encoding other than 0 or 1, or when memory
//   cannot be had. A null values pointer gives zeros.
// - write returns 0 when the file cannot be made, when a section has no data
//   loaded, or when the encoding is unknown; the content goes to a temporary
//   file beside the target, every write and the close checked, is synced,
//   renamed over the target and the folder synced, so that an earlier file of
//   that name is either replaced whole or left untouched, through a crash
//   too (once write returned 1 the new content is durable).
// - read returns null for a missing or unreadable file, anything that is not
//   a regular file (a pipe or a device is never opened for reading), a header
//   it does not understand (format, version, statement, type, undeclared
//   location, bundles nested deeper than KorinMeshReader allows), data
//   shorter than declared, or an encoded section that does not decode to
//   exactly the declared size.
// Both go through the TbFileIO seam; after a failure errno holds the system's
// reason (EISDIR or EINVAL for what is not a regular file, 0 for content the
// reader does not accept). Nothing is printed.
#include <cstdint>

#include "host/base/TbDArray.h"
#include "host/base/TbPrimType.h"
#include "host/base/TbProgressInterface.h"
#include "host/base/TbString.h"
#include "host/mesh/UxParamBundle.h"

class KorinMesh : public UxParamBundle {
 public:
  enum Encoding { TEXT = 0, BINARY_LITTLE_ENDIAN = 1, BINARY_BIG_ENDIAN = 2 };
  // Section encoding markers.
  enum { PLAIN = 0, ZLIB = 1 };

  struct Location {
    TbString name;
    int nDims;
    int dims[3];  // unused dimensions are 1
    int64_t numElements() const {
      return static_cast<int64_t>(dims[0]) * dims[1] * dims[2];
    }
  };

  struct DataSection {
    Location* location;    // points into the mesh's locations
    TbString name;
    TbPrimType primType;
    int nDataVar;          // interleaved components per element
    int encoding;          // the marker: PLAIN or ZLIB
    int64_t filePosition;  // first stored byte in the file read, or -1
    int64_t storedBytes;   // bytes the section occupies in the file read, or 0
    void* data;            // decoded values in machine byte order, or null
    int64_t numValues() const { return location->numElements() * nDataVar; }
    int64_t dataBytes() const { return numValues() * primType.size(); }
  };

  // When true, read() records where every section is stored and loads no
  // data, so a caller can stream a huge volume from the file itself.
  static bool recordFilePosition;

  KorinMesh();
  ~KorinMesh() override;
  KorinMesh(const KorinMesh&) = delete;
  KorinMesh& operator=(const KorinMesh&) = delete;

  UxParamBundle& parameters() { return *this; }
  const UxParamBundle& parameters() const { return *this; }

  TbDArray<Location*> location;        // in declaration order
  TbDArray<DataSection*> dataSection;  // in file order

  // Of the file read, or the one last written; BINARY_LITTLE_ENDIAN before.
  int encoding() const { return fileEncoding; }

  Location* addLocation(const char* name, int nDims, const int* dims);
  Location* findLocation(const char* name) const;
  DataSection* addSection(Location* where, const char* name, TbPrimType primType, int nDataVar,
                          const void* values, int encoding = PLAIN);
  // As addSection, but the section gets no data (data stays null); null also
  // when the values would not fit in memory addresses.
  DataSection* declareSection(Location* where, const char* name, TbPrimType primType,
                              int nDataVar, int encoding = PLAIN);

  int write(const char* path, int encoding = BINARY_LITTLE_ENDIAN,
            const char* comment = nullptr);
  static KorinMesh* read(const char* path, TbProgressInterface* progress = nullptr);

  // Non-zero, with the text, when the "ContentType" string parameter is set.
  int contentType(TbString& type) const;

  // For the reader: the encoding of the file it fills this mesh from.
  void setEncoding(int encoding) { fileEncoding = encoding; }

 private:
  bool ownsLocation(const Location* where) const;

  int fileEncoding = BINARY_LITTLE_ENDIAN;
};
