#include "host/lda/LdaConverter.h"

#include <strings.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "host/console/UxMessage.h"
#include "host/console/UxWorkArea.h"
#include "host/lda/LdaChunkWorkers.h"
#include "host/lda/LdaCodecs.h"
#include "host/lda/LdaImageSource.h"
#include "host/lda/LdaLayout.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaPyramidWriter.h"
#include "host/lda/LdaRawSource.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaStoreFolder.h"

namespace {

const int kMinTileSize = 8;
const int kMaxTileSize = 512;
// Chunks waiting for a worker, per worker, at the least.
const int kQueuedPerWorker = 4;

// Half a level-0 slab of chunks may wait: enough to keep the workers busy
// while the next slab is read and reduced, and memory still bounded.
int queueLength(const LdaLayout& layout, int threads) {
  const LdaLevel& base = layout.levels[0];
  const int components = layout.hasChannelAxis() ? layout.nDataVar : 1;
  const int perSlab = base.chunkCount(0) * base.chunkCount(1) * components;
  return std::max(threads * kQueuedPerWorker, perSlab / 2);
}

UxMessage& console() { return *UxMessage::getTheMsg(); }

bool checkSettings(int tileSize, int borderSize, int samplingType) {
  if (tileSize < kMinTileSize || tileSize > kMaxTileSize) {
    console().printf("Error: tile size %d: expected %d to %d", tileSize, kMinTileSize, kMaxTileSize);
    return false;
  }
  if (borderSize < 0) {
    console().printf("Error: border size %d: expected 0 or more", borderSize);
    return false;
  }
  if (samplingType != LDA_SHARP && samplingType != LDA_AVERAGE) {
    console().printf("Error: sampling type %d: expected 0 (Sharp) or 1 (Average)", samplingType);
    return false;
  }
  return true;
}

// False after a message for a name that is not a registered codec.
bool findCodec(const char* name, LdaCodec& codec) {
  if (!name || strcasecmp(name, "none") == 0) return true;
  codec = ldaCodecByName(name);
  if (codec) return true;
  console().printf("Error: unknown compressor \"%s\": expected one of %s, or none", name,
                   ldaCodecNames().c_str());
  return false;
}

std::unique_ptr<LdaSlabSource> openSource(const std::vector<std::string>& files, const TbBox3f& box,
                                          const TbVec3i& dims, const TbPrimType& primType,
                                          bool littleEndian, int convertMethod, int headerBytes,
                                          bool doubleToFloat, bool isRaw, float* sourceBox) {
  std::copy(box.values, box.values + 6, sourceBox);
  if (isRaw)
    return LdaRawSource::open(files, dims.values, primType, littleEndian, headerBytes, doubleToFloat);
  std::unique_ptr<LdaSlabSource> images = LdaImageSource::open(files, convertMethod);
  // A single file is described by nobody but itself: its samples span the box.
  if (images && files.size() == 1)
    for (int a = 0; a < 3; ++a) {
      sourceBox[2 * a] = 0.0f;
      sourceBox[2 * a + 1] = static_cast<float>(images->dims[a] - 1);
    }
  return images;
}

// False when the user keeps an existing output ("No", the default in batch runs).
bool mayReplace(const TbFilename& output) {
  if (!output.doesExist()) return true;
  TbString question;
  question.printf("%s already exists. Should it be overwritten?", output.getString());
  return console().warning(question.getString(), "No", "Yes", "Yes to All", -1, -1) != 0;
}

std::string storeName(const TbFilename& output) {
  TbFilename name(output.basename());
  name.removeExtension();
  return name.getString();
}

class ProgressTask {
 public:
  explicit ProgressTask(const TbFilename& output) {
    UxWorkArea::getTheWorkArea()->startWork("Converting %s", output.basename());
  }
  ~ProgressTask() { UxWorkArea::getTheWorkArea()->stopWork(); }
  ProgressTask(const ProgressTask&) = delete;
  ProgressTask& operator=(const ProgressTask&) = delete;
};

enum Outcome { FAILED = 0, DONE = 1, CANCELLED = -1 };

// Streams the source through the pyramid into the folder, a slab at a time.
Outcome writeLevels(LdaSlabSource& source, LdaPyramidWriter& writer, int tileSize,
                    std::string& why) {
  if (!writer.allocate(!source.mapsSlices())) {
    why = writer.error();
    return FAILED;
  }
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  const int depth = source.dims[2];
  for (int z = 0; z < depth; z += tileSize) {
    if (work->checkInterrupt(1)) return CANCELLED;
    const int count = std::min(tileSize, depth - z);
    const unsigned char* slab = nullptr;
    if (source.mapsSlices())
      slab = source.map(z, count);
    else if (source.read(z, count, writer.level0Slab()))
      slab = writer.level0Slab();
    if (!slab) return FAILED;
    if (!writer.addLevel0Slab(slab, count)) {
      why = writer.error();
      return FAILED;
    }
    work->setProgress(static_cast<float>(z + count) / static_cast<float>(depth));
  }
  if (!writer.finish()) {
    why = writer.error();
    return FAILED;
  }
  return DONE;
}

Outcome writeStore(LdaSlabSource& source, const LdaStoreSettings& settings, int tileSize,
                   const std::string& folder, std::string& why) {
  const LdaLayout layout(source.dims, source.nDataVar, source.primType, tileSize);
  if (!writeLdaMetadata(folder, layout, settings, why)) return FAILED;
  const int threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  LdaChunkWorkers workers(settings.codec, folder, threads, queueLength(layout, threads));
  LdaPyramidWriter writer(layout, settings.sampling, workers, folder);
  return writeLevels(source, writer, tileSize, why);
}

}  // namespace

int convertToLdaStore(const TbDArray<const char*>& files, const TbFilename& output,
                      const TbBox3f& box, const TbVec3i& dims, const TbPrimType& primType,
                      bool littleEndian, int convertMethod, int headerBytes, bool doubleToFloat,
                      bool isRaw, int tileSize, int borderSize, int samplingType,
                      const char* compressor) {
  LdaCodec codec;
  if (!checkSettings(tileSize, borderSize, samplingType) || !findCodec(compressor, codec))
    return FAILED;
  std::vector<std::string> names;
  for (int i = 0; i < files.size(); ++i)
    if (files[i]) names.push_back(files[i]);
  LdaStoreSettings settings{storeName(output), {}, borderSize, samplingType, codec.get(), nullptr};
  std::unique_ptr<LdaSlabSource> source =
      openSource(names, box, dims, primType, littleEndian, convertMethod, headerBytes,
                 doubleToFloat, isRaw, settings.box);
  if (!source) return FAILED;
  settings.source = source->describe();
  if (!mayReplace(output)) return CANCELLED;

  LdaStoreFolder folder(output.getString());
  std::string why;
  Outcome outcome = FAILED;
  if (folder.create(why)) {
    ProgressTask progress(output);
    outcome = writeStore(*source, settings, tileSize, folder.path(), why);
    if (outcome == DONE && !folder.commit(why)) outcome = FAILED;
  }
  if (outcome == FAILED && !why.empty())
    console().printf("Error: writing %s failed: %s", output.getString(), why.c_str());
  return outcome;
}
