#include "host/lda/LdaConversion.h"

#include <algorithm>
#include <memory>
#include <thread>

#include "host/base/TbMemoryBudget.h"
#include "host/console/UxMessage.h"
#include "host/console/UxWorkArea.h"
#include "host/lda/LdaColumnWriter.h"
#include "host/lda/LdaStoreFolder.h"
#include "host/lda/LdaStoredLevelSource.h"

namespace {

// Kept free of the budget for what the process allocates on the way (the
// codecs' own state, messages, the reader of a stored level).
const int64_t kMargin = int64_t(32) << 20;
// Chunks that may wait for a worker: enough to keep every core busy while the
// next slab is read, at most an eighth of the allowance.
const int kMostQueued = 64;

int coreCount() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency())); }

size_t bufferAllowance() {
  const int64_t left = TbMemoryBudget::bytes() - TbMemoryBudget::residentBytes() - kMargin;
  return left > 0 ? static_cast<size_t>(left) : 0;
}

int queueLengthFor(const LdaLayout& layout, size_t allowance, int threads) {
  const size_t fit = allowance / 8 / layout.chunkBytes(0);
  return static_cast<int>(std::max<size_t>(2 * threads, std::min<size_t>(fit, kMostQueued)));
}

double samplesOf(const LdaLevel& level) { return static_cast<double>(level.sliceSamples()) * level.dims[2]; }

}  // namespace

LdaConversion::LdaConversion(const LdaLayout& storeLayout, const LdaStoreSettings& storeSettings,
                             LdaStoreFolder& storeFolder)
    : layout(storeLayout),
      settings(storeSettings),
      folder(storeFolder),
      threads(coreCount()),
      allowance(bufferAllowance()),
      queueLength(queueLengthFor(storeLayout, allowance, threads)),
      shards(storeFolder.path()),
      workers(storeSettings.codec, storeFolder.path(), threads, queueLength, storeLayout.sharded() ? &shards : nullptr) {
  samplesTotal = 0;
  for (const LdaLevel& level : layout.levels) samplesTotal += samplesOf(level);
}

LdaPassNeeds LdaConversion::needsOf(const LdaSlabSource& source) const {
  return {source.splitCost(), source.stagingPerSample(),
          source.fixedWorkingBytes() + LdaChunkWorkers::bytesHeld(layout.chunkBytes(0), threads, queueLength)};
}

bool LdaConversion::stopAsked() {
  if (!stopped && UxWorkArea::getTheWorkArea()->checkInterrupt(1)) stopped = true;
  return stopped;
}

void LdaConversion::advance(size_t samples) {
  samplesDone += static_cast<double>(samples);
  UxWorkArea::getTheWorkArea()->setProgress(static_cast<float>(samplesDone / samplesTotal));
}

LdaOutcome LdaConversion::run(LdaSlabSource& input, std::string& why) {
  LdaSlabSource* source = &input;
  std::unique_ptr<LdaStoredLevelSource> stored;
  for (int first = 0;;) {
    const bool fromInput = source == &input;
    const LdaColumnPlan plan = planColumns(layout, first, fromInput ? first : first + 1, needsOf(*source), allowance);
    if (fromInput && plan.columns(layout) > 1)
      UxMessage::getTheMsg()->printf("Note: %s is converted in %d columns of %d x %d samples to stay within the memory budget of %s",
                                     settings.name.c_str(), plan.columns(layout), plan.width, plan.height,
                                     TbMemoryBudget::format(TbMemoryBudget::bytes()).c_str());
    const LdaOutcome outcome = runPass(*source, plan, !fromInput, why);
    if (outcome != LDA_DONE) {
      workers.abandon();
      return outcome;
    }
    if (!workers.finish()) {
      why = workers.error();
      return LDA_FAILED;
    }
    if (plan.last + 1 >= layout.numLevels()) return LDA_DONE;
    // The next levels are built from the last one written, read back from the store.
    stored = LdaStoredLevelSource::open(folder.path(), plan.last, why);
    if (!stored) return LDA_FAILED;
    source = stored.get();
    first = plan.last;
  }
}

LdaOutcome LdaConversion::runPass(LdaSlabSource& source, const LdaColumnPlan& plan, bool firstIsStored,
                                  std::string& why) {
  LdaColumnWriter writer(layout, plan, firstIsStored, settings.sampling, workers, layout.sharded() ? &shards : nullptr, folder,
                         [this] { return stopAsked(); });
  const bool mapped = source.mapsSlices() && plan.columns(layout) == 1;
  if (!writer.allocate(!mapped)) {
    why = writer.error();
    return LDA_FAILED;
  }
  const LdaLevel& level = layout.levels[plan.first];
  for (int y0 = 0; y0 < level.dims[1]; y0 += plan.height)
    for (int x0 = 0; x0 < level.dims[0]; x0 += plan.width) {
      const LdaRegion column{x0, y0, std::min(plan.width, level.dims[0] - x0), std::min(plan.height, level.dims[1] - y0)};
      const LdaOutcome outcome = runColumn(source, writer, column, mapped, why);
      if (outcome != LDA_DONE) return outcome;
    }
  return LDA_DONE;
}

// A slice at a time, so that Ctrl-C is noticed within one slice's read.
bool LdaConversion::readSlab(LdaSlabSource& source, const LdaRegion& column, int first, int count,
                             unsigned char* out) {
  const size_t slice = column.samples() * source.sampleBytes();
  for (int z = first; z < first + count; ++z, out += slice)
    if (stopAsked() || !source.read(column, z, 1, out)) return false;
  return true;
}

LdaOutcome LdaConversion::runColumn(LdaSlabSource& source, LdaColumnWriter& writer, const LdaRegion& column,
                                    bool mapped, std::string& why) {
  writer.start(column);
  const int depth = source.dims[2];
  bool written = true;
  for (int z = 0; z < depth && written; z += writer.slabDepth()) {
    if (stopAsked()) return LDA_CANCELLED;
    const int count = std::min(writer.slabDepth(), depth - z);
    const unsigned char* slices = mapped ? source.map(z, count) : nullptr;
    if (mapped ? !slices : !readSlab(source, column, z, count, writer.slab())) {
      return stopped ? LDA_CANCELLED : LDA_FAILED;  // the source said why
    }
    written = mapped ? writer.addSlabAt(slices, count) : writer.addSlab(count);
    advance(column.samples() * count);
  }
  if (written && writer.finish()) return LDA_DONE;
  if (stopped) return LDA_CANCELLED;
  why = writer.error();
  return LDA_FAILED;
}
