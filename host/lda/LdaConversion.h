#pragma once
// LdaConversion: the passes that fill a new lda store's folder from a source,
// within the host's memory budget.
//
// run plans the first pass over the source (LdaColumnPlan), writes its
// levels column by column, then, while levels remain, reads the last level
// it wrote back from the store and builds the next ones the same way. Chunks
// are compressed, written and synced by the workers on all cores. Progress
// goes to the host's work area; Ctrl-C (checked between chunks and slabs)
// stops the work within about the time of one chunk: queued chunks are
// dropped and the result is LDA_CANCELLED. A failure answers LDA_FAILED with
// `why` set, or empty when the source already said what went wrong on the
// console. The metadata must be in the folder before run.
#include <string>

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
  LdaOutcome run(LdaSlabSource& input, std::string& why);

 private:
  LdaOutcome runPass(LdaSlabSource& source, const LdaColumnPlan& plan, bool firstIsStored, std::string& why);
  LdaOutcome runColumn(LdaSlabSource& source, LdaColumnWriter& writer, const LdaRegion& column, bool mapped,
                       std::string& why);
  bool readSlab(LdaSlabSource& source, const LdaRegion& column, int first, int count, unsigned char* out);
  LdaPassNeeds needsOf(const LdaSlabSource& source) const;
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
