#pragma once
// LdaColumnWriter: turns the slabs of one column of a source level into the
// chunks of the levels a pass writes (see LdaColumnPlan.h).
//
// allocate sizes the buffers once for the plan's largest column; each column
// then starts (start), takes its slabs in order, level `first`'s chunk depth
// of slices at a time (slab(), then addSlab with the number of slices read;
// or, allocated without a first slab, addSlabAt with slices of the caller's
// that stay valid until the next call), and ends (finish). Level `first` is written too unless the writer is told
// it is stored already (a pass that reads a level back). Each level keeps one
// slab of its part of the column and one slice waiting for its pair: when a
// slab is complete its chunks go to the workers and its slices, reduced in
// pairs, fill the slab of the next level. Chunk folders are made through the
// store folder. A call answers false once anything failed (no memory, a
// folder that cannot be made, the workers' first failure) or `stop` answered
// true between two chunks; error() then says what (empty after a stop).
#include <functional>
#include <string>
#include <vector>

#include "host/lda/LdaChunkWorkers.h"
#include "host/lda/LdaColumnPlan.h"
#include "host/lda/LdaLayout.h"
#include "host/lda/LdaSlabSource.h"

class LdaShardFiles;
class LdaStoreFolder;

class LdaColumnWriter {
 public:
  // shards: null for a store without shards.
  LdaColumnWriter(const LdaLayout& layout, const LdaColumnPlan& plan, bool firstIsStored, int sampling,
                  LdaChunkWorkers& workers, LdaShardFiles* shards, LdaStoreFolder& folder, std::function<bool()> stop);

  bool allocate(bool ownFirstSlab);
  void start(const LdaRegion& column);
  unsigned char* slab() { return levels[0].slab.data(); }
  int slabDepth() const { return layout.levels[plan.first].chunk[2]; }
  bool addSlab(int count) { return addSlabAt(levels[0].slab.data(), count); }
  bool addSlabAt(const unsigned char* slices, int count);
  bool finish();
  const std::string& error() const { return failure; }

 private:
  struct LevelState {
    LdaRegion region;  // the column's part of the level
    std::vector<unsigned char> slab;
    const unsigned char* slices = nullptr;  // the slab, or the caller's slices at the first level
    std::vector<unsigned char> carry;  // a slice still waiting for its pair
    bool hasCarry = false;
    int filled = 0;
    int slabIndex = 0;
  };

  int levelOf(size_t index) const { return plan.first + static_cast<int>(index); }
  bool flush(size_t index, bool last);
  bool writeChunks(size_t index);
  bool pushReduced(size_t index, const unsigned char* first, const unsigned char* second);
  void copyChunk(size_t index, int component, int cx, int cy, unsigned char* chunk) const;
  size_t sliceBytes(size_t index) const { return levels[index].region.samples() * layout.sampleBytes(); }

  const LdaLayout& layout;
  const LdaColumnPlan plan;
  const bool firstIsStored;
  const int sampling;
  LdaChunkWorkers& workers;
  LdaShardFiles* const shards;
  LdaStoreFolder& folder;
  const std::function<bool()> stop;
  std::vector<LevelState> levels;  // levels plan.first to plan.last
  std::string failure;
};
