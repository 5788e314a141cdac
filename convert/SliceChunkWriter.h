#pragma once
// SliceChunkWriter: how the raw and image readers write a new disk-data set.
// The reader fills the chunk buffer with up to chunkSlices() whole slices and
// stores it; finish() builds the coarser levels. A chunk holds up to 64 slices
// and at most 256 MiB, but never less than one slice however large a slice is,
// so memory stays one chunk whatever the depth. The work area shows the
// conversion from start() until the writer goes away, which also releases the
// set and frees the buffer.
//
// Contract on failure: start returns false after a console message, with no
// set created when the buffer could not be had; store returns false and prints
// nothing (the reader names what failed, with failure()). A failed conversion
// leaves the set's files behind as far as they were written, flagged as far as
// the flags could be stored. finish warns, naming the set, when a coarser level
// could not be stored, and returns false, with a message naming the file and
// the system's reason, when the valid flags of the slices stored could not be
// made durable: the set would load as never written.
#include <cstdint>

#include "host/base/TbPrimType.h"
#include "package/PackageExport.h"

class UxDiskData;

// Slices per chunk for slices of sliceBytes bytes.
UXDD_API int chunkSlices(int64_t sliceBytes);

class UXDD_API SliceChunkWriter {
 public:
  // BUSY: the work area shows a task whose progress the reader sets;
  // MEASURED: one whose text and progress the reader sets image by image.
  enum Display { BUSY, MEASURED };

  explicit SliceChunkWriter(int64_t sliceBytes) : sliceBytes(sliceBytes), slices(::chunkSlices(sliceBytes)) {}
  ~SliceChunkWriter();
  SliceChunkWriter(const SliceChunkWriter&) = delete;
  SliceChunkWriter& operator=(const SliceChunkWriter&) = delete;

  // Allocates the chunk buffer, then creates the set named outName (its
  // description file and block files alike).
  bool start(const char* outName, const int* dims, int nDataVar, TbPrimType primType, const float* bbox,
             Display display);
  int chunkSlices() const { return slices; }
  unsigned char* chunk() const { return buffer; }
  // Stores the first n slices of the chunk as slices first .. first + n - 1.
  bool store(int first, int n);
  // Builds the coarser levels from the slices stored and stores the flags.
  bool finish();
  // The file and the system's reason of the last failed store.
  const char* failure() const;
  UxDiskData* diskData() const { return data; }

 private:
  int64_t sliceBytes;
  int slices;
  int dims[3] = {0, 0, 0};
  int storedSlices = 0;  // slices 0 .. storedSlices - 1 are stored
  unsigned char* buffer = nullptr;
  UxDiskData* data = nullptr;
  bool showing = false;
};
