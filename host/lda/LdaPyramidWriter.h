#pragma once
// LdaPyramidWriter: turns the level-0 slabs of a volume into the chunks of
// every level of an lda store.
//
// The caller hands over up to tileSize level-0 z slices at a time, in order,
// with addLevel0Slab (from level0Slab(), or from memory of its own when it
// allocated with ownLevel0 false); after the last slab, finish. Each level
// keeps one slab of tileSize slices and one slice waiting for its pair: when
// a slab is complete its chunks go to the workers and its slices, reduced in
// pairs, fill the slab of the next level, so memory stays at about one slab
// per level whatever the volume's depth. Chunk folders are made here, below
// `root`; the level folders must exist. A call answers false once anything
// failed (no memory for the slabs, a folder that cannot be made, the
// workers' first failure); error() then says what.
#include <string>
#include <vector>

#include "host/lda/LdaChunkWorkers.h"
#include "host/lda/LdaLayout.h"

class LdaPyramidWriter {
 public:
  LdaPyramidWriter(const LdaLayout& layout, int sampling, LdaChunkWorkers& workers,
                   std::string root);

  bool allocate(bool ownLevel0);
  unsigned char* level0Slab() { return levels[0].slab.data(); }
  bool addLevel0Slab(const unsigned char* slab, int count);
  bool finish();
  const std::string& error() const { return failure; }

 private:
  struct LevelState {
    std::vector<unsigned char> slab;
    const unsigned char* slices = nullptr;  // the slab, or the caller's slices at level 0
    std::vector<unsigned char> carry;  // a slice still waiting for its pair
    bool hasCarry = false;
    int filled = 0;
    int slabIndex = 0;
  };

  bool flush(int level, bool last);
  bool writeChunks(int level);
  bool pushReduced(int level, const unsigned char* first, const unsigned char* second);
  void copyChunk(int level, int component, int iy, int ix, unsigned char* chunk) const;
  size_t sliceBytes(int level) const {
    return layout.levels[level].sliceSamples() * layout.sampleBytes();
  }

  const LdaLayout& layout;
  const int sampling;
  LdaChunkWorkers& workers;
  const std::string root;
  std::vector<LevelState> levels;
  std::string failure;
};
