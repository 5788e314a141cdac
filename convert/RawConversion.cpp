// Streams raw input files, chunk by chunk, into a new disk-data set and builds
// its coarser levels.
#include <fcntl.h>

#include <cstdint>

#include "host/base/TbFileIO.h"
#include "convert/InputList.h"
#include "convert/SliceChunkWriter.h"
#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbCPUInfo.h"
#include "host/rawdata/TbRawData.h"
#include "host/console/UxWorkArea.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

TbFileIO& io() { return TbFileIO::current(); }

// The input side of one raw conversion: one file holding every slice, or one
// file per slice.
class RawSlices {
 public:
  RawSlices(const InputList& files, int64_t headerOffset, int64_t sliceBytes)
      : files(files), headerOffset(headerOffset), sliceBytes(sliceBytes) {}
  ~RawSlices() {
    if (fd >= 0) io().close(fd);
  }

  // Reads slices [first, first + n) into buffer; false after printing why not.
  bool read(unsigned char* buffer, int first, int n) {
    if (files.size() == 1) return readFromSingleFile(buffer, first, n);
    for (int i = 0; i < n; ++i)
      if (!readSliceFile(buffer + i * sliceBytes, first + i)) return false;
    return true;
  }

 private:
  bool readFromSingleFile(unsigned char* buffer, int first, int n) {
    if (first == 0 && !openAt(files[0], fd)) return false;
    return readBytes(fd, buffer, n * sliceBytes);
  }

  bool readSliceFile(unsigned char* buffer, int slice) {
    int sliceFd = -1;
    if (!openAt(files[slice], sliceFd)) return false;
    bool done = readBytes(sliceFd, buffer, sliceBytes);
    io().close(sliceFd);
    return done;
  }

  bool openAt(const char* name, int& handle) {
    handle = io().open(name, O_RDONLY, 0);
    if (handle < 0 || io().seek(handle, headerOffset) < 0) {
      console().printf("can't open %s", name);
      return false;
    }
    return true;
  }

  static bool readBytes(int handle, unsigned char* buffer, int64_t bytes) {
    if (io().read(handle, buffer, bytes) == bytes) return true;
    console().printf("Error: io\n");
    return false;
  }

  const InputList& files;
  int64_t headerOffset;
  int64_t sliceBytes;
  int fd = -1;
};

}  // namespace

int UxConvertToDiskData::convertRaw(InputList files, const char* outName, const int* dims, int nDataVar,
                                    int littleEndian, int64_t headerOffset, const float* bbox,
                                    TbPrimType primType) {
  // Several files must each hold one slice; anything else would store garbage.
  if (files.size() != 1 && files.size() != dims[2]) {
    console().printf("Error: %d input files for %d slices: give one file, or one file per slice",
                     files.size(), dims[2]);
    return 0;
  }
  const int elemSize = primType.size();
  const int64_t sliceBytes = static_cast<int64_t>(dims[0]) * dims[1] * nDataVar * elemSize;
  SliceChunkWriter writer(sliceBytes);
  if (!writer.start(outName, dims, nDataVar, primType, bbox, SliceChunkWriter::BUSY)) return 0;
  const int chunk = writer.chunkSlices();
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  work->setWorkText("converting %s", files[0]);
  const bool swap = TbCPUInfo::isLittleEndian() != (littleEndian != 0);
  RawSlices input(files, headerOffset, sliceBytes);
  for (int s = 0; s < dims[2]; s += chunk) {
    // Ctrl-C stops within one chunk: the chunks stored so far are kept, with their levels.
    if (work->checkInterrupt(1)) {
      console().printf("Interrupted");
      break;
    }
    work->setProgress(static_cast<float>(s + chunk) / static_cast<float>(dims[2]));
    const int n = chunk < dims[2] - s ? chunk : dims[2] - s;
    if (!input.read(writer.chunk(), s, n)) return 0;
    if (swap) TbRawData::swapBytes(TbTypedPointer(writer.chunk(), primType), static_cast<unsigned long>(n * sliceBytes / elemSize));
    if (!writer.store(s, n)) {
      console().printf("Error: can't write %s", writer.failure());
      return 0;
    }
    // The fraction set before the chunk counts it as done already; once it is
    // stored that is true, and a line shown now has a fair time left.
    work->setProgress(static_cast<float>(s + n) / static_cast<float>(dims[2]));
  }
  return writer.finish() ? 1 : 0;
}
