#pragma once
// LdaConversion: the passes that fill a new lda store's folder from a source,
// within the host's memory budget.
//
// plan gives the passes: the first reads the input (LdaColumnPlan) and writes
// its levels column by column; each later one reads the last level written
// back from the store and builds the next ones the same way. run runs them
// all; runColumn runs one column of one pass, for conversions spread over
// several processes (LdaJob), which ask the plan for at least `minColumns`
// columns per pass. Chunks are compressed, written and synced by the workers
// on all cores; the store's bytes do not depend on the plan. Progress goes to
// the host's work area; Ctrl-C (checked between chunks and slabs) stops the
// work within about the time of one chunk: queued chunks are dropped and the
// result is LDA_CANCELLED. A failure answers LDA_FAILED with `why` set, or
// empty when the source already said what went wrong on the console. The
// metadata must be in the folder before any pass runs.
#include <string>
#include <vector>

#include "host/lda/LdaChunkWorkers.h"
#include "host/lda/LdaColumnPlan.h"
#include "host/lda/LdaLayout.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaShardFiles.h"
#include "host/lda/LdaSlabSource.h"

class LdaColumnWriter;
class LdaStoreFolder;

// LDA_REFUSED: the input does not match its description.
enum LdaOutcome { LDA_FAILED = 0, LDA_DONE = 1, LDA_CANCELLED = -1, LDA_REFUSED = 2 };

class LdaConversion {
 public:
  LdaConversion(const LdaLayout& layout, const LdaStoreSettings& settings, LdaStoreFolder& folder);
  std::vector<LdaColumnPlan> plan(const LdaSlabSource& input, int minColumns = 1) const;
  LdaOutcome run(LdaSlabSource& input, std::string& why);
  // `input` is read by the first pass; later passes read the store.
  LdaOutcome runColumn(LdaSlabSource& input, const std::vector<LdaColumnPlan>& passes, int pass, int column,
                       std::string& why);

 private:
  LdaOutcome runPass(LdaSlabSource& source, const LdaColumnPlan& plan, bool firstIsStored, std::string& why);
  LdaOutcome runRegion(LdaSlabSource& source, LdaColumnWriter& writer, const LdaRegion& column, bool mapped,
                       std::string& why);
  bool readSlab(LdaSlabSource& source, const LdaRegion& column, int first, int count, unsigned char* out);
  LdaPassNeeds needsOf(const LdaSlabSource& source) const;
  LdaPassNeeds storedNeeds(int level) const;
  LdaRegion columnOf(const LdaColumnPlan& plan, int column) const;
  LdaOutcome finishPass(LdaOutcome outcome, std::string& why);
  bool stopAsked();
  void advance(size_t samples);

  const LdaLayout& layout;
  const LdaStoreSettings& settings;
  LdaStoreFolder& folder;
  const int threads;
  const size_t allowance;
  const int queueLength;
  LdaShardFiles shards;
  LdaChunkWorkers workers;
  double samplesDone = 0;
  double samplesTotal = 1;
  bool stopped = false;
};
