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

// A stored level is read back a chunk at a time (LdaStoredLevelSource).
LdaPassNeeds LdaConversion::storedNeeds(int level) const {
  return {LdaSlabSource::ROWS_ANYWHERE, 0,
          2 * layout.chunkBytes(level) * layout.nDataVar + LdaChunkWorkers::bytesHeld(layout.chunkBytes(0), threads, queueLength)};
}

std::vector<LdaColumnPlan> LdaConversion::plan(const LdaSlabSource& input, int minColumns) const {
  std::vector<LdaColumnPlan> passes{planTasks(layout, planColumns(layout, 0, 0, needsOf(input), allowance), 0, minColumns)};
  while (passes.back().last + 1 < layout.numLevels()) {
    const int first = passes.back().last;
    passes.push_back(planTasks(layout, planColumns(layout, first, first + 1, storedNeeds(first), allowance), first + 1,
                               minColumns));
  }
  return passes;
}

LdaRegion LdaConversion::columnOf(const LdaColumnPlan& plan, int column) const {
  const LdaLevel& level = layout.levels[plan.first];
  const int across = (level.dims[0] + plan.width - 1) / plan.width;
  const int x0 = column % across * plan.width, y0 = column / across * plan.height;
  return {x0, y0, std::min(plan.width, level.dims[0] - x0), std::min(plan.height, level.dims[1] - y0)};
}

bool LdaConversion::stopAsked() {
  if (!stopped && UxWorkArea::getTheWorkArea()->checkInterrupt(1)) stopped = true;
  return stopped;
}

void LdaConversion::advance(size_t samples) {
  samplesDone += static_cast<double>(samples);
  UxWorkArea::getTheWorkArea()->setProgress(static_cast<float>(samplesDone / samplesTotal));
}

// All chunks of a pass written (or the pass given up): the next may read them.
LdaOutcome LdaConversion::finishPass(LdaOutcome outcome, std::string& why) {
  if (outcome != LDA_DONE) {
    workers.abandon();
    return outcome;
  }
  if (workers.finish()) return LDA_DONE;
  why = workers.error();
  return LDA_FAILED;
}

LdaOutcome LdaConversion::run(LdaSlabSource& input, std::string& why) {
  const std::vector<LdaColumnPlan> passes = plan(input);
  if (passes[0].columns(layout) > 1)
    UxMessage::getTheMsg()->printf("Note: %s is converted in %d columns of %d x %d samples to stay within the memory budget of %s",
                                   settings.name.c_str(), passes[0].columns(layout), passes[0].width, passes[0].height,
                                   TbMemoryBudget::format(TbMemoryBudget::bytes()).c_str());
  std::unique_ptr<LdaStoredLevelSource> stored;
  for (size_t pass = 0; pass < passes.size(); ++pass) {
    if (pass > 0) {  // the next levels are built from the last one written, read back from the store
      stored = LdaStoredLevelSource::open(folder.path(), passes[pass].first, why);
      if (!stored) return LDA_FAILED;
    }
    const LdaOutcome outcome = finishPass(runPass(pass ? *stored : input, passes[pass], pass > 0, why), why);
    if (outcome != LDA_DONE) return outcome;
  }
  return LDA_DONE;
}

LdaOutcome LdaConversion::runColumn(LdaSlabSource& input, const std::vector<LdaColumnPlan>& passes, int pass,
                                    int column, std::string& why) {
  const LdaColumnPlan& plan = passes[pass];
  std::unique_ptr<LdaStoredLevelSource> stored;
  if (pass > 0 && !(stored = LdaStoredLevelSource::open(folder.path(), plan.first, why))) return LDA_FAILED;
  LdaSlabSource& source = pass > 0 ? *stored : input;
  LdaColumnWriter writer(layout, plan, pass > 0, settings.sampling, workers, layout.sharded() ? &shards : nullptr,
                         folder, [this] { return stopAsked(); });
  if (!writer.allocate(true)) {
    why = writer.error();
    return LDA_FAILED;
  }
  return finishPass(runRegion(source, writer, columnOf(plan, column), false, why), why);
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
  for (int column = 0; column < plan.columns(layout); ++column) {
    const LdaOutcome outcome = runRegion(source, writer, columnOf(plan, column), mapped, why);
    if (outcome != LDA_DONE) return outcome;
  }
  return LDA_DONE;
}

// A slice at a time, so that Ctrl-C is noticed within one slice's read;
// a stored level, whose chunks hold many slices, a slab at a time.
bool LdaConversion::readSlab(LdaSlabSource& source, const LdaRegion& column, int first, int count,
                             unsigned char* out) {
  if (source.readsWholeSlabs()) return !stopAsked() && source.read(column, first, count, out);
  const size_t slice = column.samples() * source.sampleBytes();
  for (int z = first; z < first + count; ++z, out += slice)
    if (stopAsked() || !source.read(column, z, 1, out)) return false;
  return true;
}

LdaOutcome LdaConversion::runRegion(LdaSlabSource& source, LdaColumnWriter& writer, const LdaRegion& column,
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
