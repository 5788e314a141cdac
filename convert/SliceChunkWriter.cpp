#include "convert/SliceChunkWriter.h"

#include <algorithm>

#include "diskdata/UxDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbMemory.h"
#include "host/console/UxWorkArea.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int64_t kChunkLimit = 268435456;  // 256 MiB
const int kMostSlices = 64;
}  // namespace

int chunkSlices(int64_t sliceBytes) {
  int slices = kMostSlices;
  while (slices > 1 && slices * sliceBytes > kChunkLimit) slices /= 2;
  return slices < 1 ? 1 : slices;
}

SliceChunkWriter::~SliceChunkWriter() {
  if (showing) UxWorkArea::getTheWorkArea()->stopWork();
  if (data) data->unref();
  tbfree(buffer);
}

bool SliceChunkWriter::start(const char* outName, const int* volumeDims, int nDataVar, TbPrimType primType,
                             const float* bbox, Display display) {
  const int64_t bufferBytes = slices * sliceBytes;
  buffer = static_cast<unsigned char*>(tbmalloc(static_cast<size_t>(bufferBytes)));
  if (!buffer) {
    console().printf("Error: not enough memory for %lld bytes", static_cast<long long>(bufferBytes));
    return false;
  }
  data = UxDiskData::create(outName, outName, volumeDims, nDataVar, primType, bbox);
  if (!data) {
    console().printf("Error: can't create lda\n");
    return false;
  }
  for (int a = 0; a < 3; ++a) dims[a] = volumeDims[a];
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  if (display == BUSY)
    work->startBusy("%s", "");
  else
    work->startWork("%s", "");
  showing = true;
  return true;
}

bool SliceChunkWriter::store(int first, int n) {
  UxExternalData::BlockRequest request;
  request.data = buffer;
  const int origin[3] = {0, 0, first}, size[3] = {dims[0], dims[1], n};
  for (int a = 0; a < 3; ++a) {
    request.origin[a] = request.bufferOrigin[a] = origin[a];
    request.size[a] = request.bufferSize[a] = size[a];
    request.subsampling[a] = 1;
  }
  if (data->putBlock(&request) != 1) return false;
  storedSlices = std::max(storedSlices, first + n);
  return true;
}

// The slices stored are complete whatever happens here, so the conversion
// stands; a level that could not be stored is said to be computed when first
// read. A conversion stopped early builds the levels over what it stored only:
// the rest is computed when read, and Ctrl-C does not wait for levels over
// slices nobody wrote.
bool SliceChunkWriter::finish() {
  if (storedSlices < dims[2])
    data->updateLevelsOver(storedSlices);
  else
    data->updateAllLevels();
  const LatticeManager& lattice = *data->latticeManager;
  BlockManager& blocks = *lattice.blockManager;
  if (blocks.validsModified && !blocks.writeValids()) {
    console().printf("Error: can't store the valid flags of %s", data->filename.getString());
    console().printf("%s", failure());
    return false;
  }
  if (!lattice.coarseLevelsCurrentOver(storedSlices))
    console().printf("Warning: the coarser levels of %s could not all be stored; they will be computed when read",
                     data->filename.getString());
  return true;
}

const char* SliceChunkWriter::failure() const {
  return data ? data->latticeManager->blockManager->failure().c_str() : "";
}
