// Streams raw input files, chunk by chunk, into a new disk-data set and builds
// its coarser levels.
#include <fcntl.h>

#include <cstdint>

#include "blockstore/BlockFileIO.h"
#include "convert/ChunkPlan.h"
#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "diskdata/UxDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbCPUInfo.h"
#include "host/base/TbMemory.h"
#include "host/rawdata/TbRawData.h"
#include "host/console/UxMessage.h"
#include "host/console/UxWorkArea.h"

namespace {
TbAssertionHandlerInit assertionHandler;

UxMessage& console() { return *UxMessage::getTheMsg(); }
BlockFileIO& io() { return BlockFileIO::current(); }

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

bool storeChunk(UxDiskData& data, void* buffer, const int* dims, int first, int n) {
  UxExternalData::BlockRequest request;
  request.data = buffer;
  const int origin[3] = {0, 0, first}, size[3] = {dims[0], dims[1], n};
  for (int a = 0; a < 3; ++a) {
    request.origin[a] = request.bufferOrigin[a] = origin[a];
    request.size[a] = request.bufferSize[a] = size[a];
    request.subsampling[a] = 1;
  }
  return data.putBlock(&request) == 1;
}
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
  UxDiskData* data = UxDiskData::create(outName, outName, dims, nDataVar, primType, bbox);
  if (!data) {
    console().printf("Error: can't create lda\n");
    return 0;
  }
  const int elemSize = primType.size();
  const int64_t sliceBytes = static_cast<int64_t>(dims[0]) * dims[1] * nDataVar * elemSize;
  const int chunk = chunkSlices(sliceBytes);
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  work->startBusy("%s", "");
  auto* buffer = static_cast<unsigned char*>(tbmalloc(static_cast<size_t>(chunk * sliceBytes)));
  bool ok = buffer != nullptr;
  if (!ok) console().printf("Error: not enough memory for %lld bytes", static_cast<long long>(chunk * sliceBytes));
  const bool swap = TbCPUInfo::isLittleEndian() != (littleEndian != 0);
  {
    RawSlices input(files, headerOffset, sliceBytes);
    for (int s = 0; ok && s < dims[2]; s += chunk) {
      work->setProgress(static_cast<float>(s + chunk) / static_cast<float>(dims[2]));
      const int n = chunk < dims[2] - s ? chunk : dims[2] - s;
      ok = input.read(buffer, s, n);
      if (ok && swap) TbRawData::swapBytes(TbTypedPointer(buffer, primType), static_cast<unsigned long>(n * sliceBytes / elemSize));
      if (ok && !storeChunk(*data, buffer, dims, s, n)) {
        console().printf("Error: can't write %s", outName);
        ok = false;
      }
    }
  }
  if (ok) data->updateAllLevels();
  work->stopWork();
  data->unref();
  tbfree(buffer);
  return ok ? 1 : 0;
}
