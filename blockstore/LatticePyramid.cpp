// Bringing the coarser levels up to date with level 0.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "blockstore/LatticeManager.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbMemory.h"
#include "host/rawdata/TbRawData.h"

namespace {
TbAssertionHandlerInit assertionHandler;

// Level-L blocks a .. b-1 of the block row (j, k).
struct RowSegment {
  int j, k, a, b;
  int dirtyFirst = -1, dirtyLast = -1;  // the out-of-date ones lie in between (-1: none)
};

// Consecutive blocks firstNo .. firstNo+count-1, held in the staging space at `at`.
struct StagedRun {
  int firstNo;
  int count;
  int64_t at;
};

// Rebuilds the out-of-date blocks of one level a group of row segments at a
// time: the blocks of the level below are read as runs of consecutive numbers,
// each reduced by two into its octant, and the rebuilt blocks gathered and
// written as runs once a few MiB of them are ready. Groups follow the rows in
// number order, so the one open block data file is switched once per few MiB
// written, not per block, and memory stays within a fixed budget whatever the
// size of the level.
class LevelRebuild {
 public:
  // Rebuilds the level's first `layers` block layers along z.
  LevelRebuild(LatticeManager& lattice, int level, int layers, TbProgressInterface* progress)
      : lattice(lattice), level(level), progress(progress), blockBytes(lattice.blockBytes()) {
    for (int a = 0; a < 3; ++a) {
      count[a] = lattice.blocksAlong(a, level);
      below[a] = lattice.blocksAlong(a, level - 1);
      half[a] = lattice.blocking[a] / 2;
    }
    count[2] = layers;
  }

  // 0 at the first block that cannot be rebuilt.
  int run() {
    // A rebuilt block needs up to eight blocks below it: nine blocks of space each.
    const int64_t budget = std::max<int64_t>(9, LatticeManager::kStagingBytes / blockBytes);
    const int perSegment = static_cast<int>(std::max<int64_t>(1, budget / 9));
    std::vector<RowSegment> group;
    int64_t groupBlocks = 0;
    for (int k = 0; k < count[2]; ++k)
      for (int j = 0; j < count[1]; ++j)
        for (int a = 0; a < count[0]; a += perSegment) {
          RowSegment segment{j, k, a, std::min(count[0], a + perSegment)};
          if (!group.empty() && 9 * (groupBlocks + segment.b - segment.a) > budget) {
            if (!rebuild(group) || (pending.size() >= kPendingBytes && !writePending())) return 0;
            group.clear();
            groupBlocks = 0;
          }
          group.push_back(segment);
          groupBlocks += segment.b - segment.a;
        }
    return (group.empty() || rebuild(group)) && writePending();
  }

 private:
  int blockNo(int i, int j, int k, int atLevel) {
    int idx[3] = {i, j, k};
    return lattice.getBlockNo(idx, atLevel);
  }

  void showProgress(int no) {
    if (progress) progress->setProgress(static_cast<float>(no + 1) / static_cast<float>(lattice.numBlocks));
  }

  int rebuild(std::vector<RowSegment>& group) {
    bool anyDirty = false;
    for (RowSegment& s : group) {
      for (int i = s.a; i < s.b; ++i) {
        if (lattice.blockManager->validFlag(blockNo(i, s.j, s.k, level))) continue;
        if (s.dirtyFirst < 0) s.dirtyFirst = i;
        s.dirtyLast = i;
        anyDirty = true;
      }
    }
    if (!anyDirty) {
      for (const RowSegment& s : group)
        for (int i = s.a; i < s.b; ++i) showProgress(blockNo(i, s.j, s.k, level));
      return 1;
    }
    if (!lattice.blockManager->writable || !readBelow(group)) return failAtFirstDirty(group);
    reduceGroup(group);
    return 1;
  }

  // Progress up to the block that could not be rebuilt, as a walk block by
  // block would show; the blocks rebuilt before it are stored.
  int failAtFirstDirty(const std::vector<RowSegment>& group) {
    writePending();
    for (const RowSegment& s : group)
      for (int i = s.a; i < s.b; ++i) {
        showProgress(blockNo(i, s.j, s.k, level));
        if (i >= s.dirtyFirst && s.dirtyFirst >= 0) return 0;
      }
    return 0;
  }

  // The blocks below the out-of-date stretch of every segment, merged into runs
  // of consecutive numbers and read with one call each.
  bool readBelow(const std::vector<RowSegment>& group) {
    std::vector<StagedRun> wanted;
    for (const RowSegment& s : group) {
      if (s.dirtyFirst < 0) continue;
      const int x0 = 2 * s.dirtyFirst, x1 = std::min(2 * s.dirtyLast + 1, below[0] - 1);
      for (int z = 2 * s.k; z <= std::min(2 * s.k + 1, below[2] - 1); ++z)
        for (int y = 2 * s.j; y <= std::min(2 * s.j + 1, below[1] - 1); ++y)
          wanted.push_back({blockNo(x0, y, z, level - 1), x1 - x0 + 1, 0});
    }
    std::sort(wanted.begin(), wanted.end(), [](const StagedRun& l, const StagedRun& r) { return l.firstNo < r.firstNo; });
    sources.clear();
    for (const StagedRun& w : wanted) {
      if (!sources.empty() && w.firstNo <= sources.back().firstNo + sources.back().count) {
        StagedRun& last = sources.back();
        last.count = std::max(last.count, w.firstNo + w.count - last.firstNo);
      } else {
        sources.push_back(w);
      }
    }
    int64_t sourceBlocks = 0;
    for (StagedRun& r : sources) {
      r.at = sourceBlocks * blockBytes;
      sourceBlocks += r.count;
    }
    // One block more: the scratch space of a reduced block.
    scratch = sourceBlocks * blockBytes;
    space = lattice.stagingFor(scratch + blockBytes);
    if (!space) return false;
    for (const StagedRun& r : sources)
      if (!lattice.blockManager->getBlocks(space + r.at, r.firstNo, r.count)) return false;
    return true;
  }

  const unsigned char* staged(int no) const {
    auto run = std::upper_bound(sources.begin(), sources.end(), no,
                                [](int n, const StagedRun& r) { return n < r.firstNo; });
    --run;
    return space + run->at + static_cast<int64_t>(no - run->firstNo) * blockBytes;
  }

  // Rebuilt blocks join the pending runs in number order.
  void reduceGroup(const std::vector<RowSegment>& group) {
    for (const RowSegment& s : group) {
      for (int i = s.a; i < s.b; ++i) {
        const int no = blockNo(i, s.j, s.k, level);
        showProgress(no);
        if (i < s.dirtyFirst || i > s.dirtyLast || lattice.blockManager->validFlag(no)) continue;
        const int64_t at = static_cast<int64_t>(pending.size());
        pending.resize(pending.size() + static_cast<size_t>(blockBytes));
        reduceInto(&pending[static_cast<size_t>(at)], i, s.j, s.k);
        if (!pendingRuns.empty() && pendingRuns.back().firstNo + pendingRuns.back().count == no)
          ++pendingRuns.back().count;
        else
          pendingRuns.push_back({no, 1, at});
      }
    }
  }

  int writePending() {
    for (const StagedRun& w : pendingRuns)
      if (!lattice.blockManager->putBlocks(&pending[static_cast<size_t>(w.at)], w.firstNo, w.count)) return 0;
    pending.clear();
    pendingRuns.clear();
    return 1;
  }

  // Block (i, j, k) of the level from its neighbourhood below, zeros where no
  // block lies below it.
  void reduceInto(unsigned char* block, int i, int j, int k) {
    std::memset(block, 0, static_cast<size_t>(blockBytes));
    unsigned char* reduced = space + scratch;
    const int sample = lattice.sampleBytes();
    const size_t row = static_cast<size_t>(half[0]) * sample;
    for (int dz = 0; dz < 2; ++dz)
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
          const int x = 2 * i + dx, y = 2 * j + dy, z = 2 * k + dz;
          if (x >= below[0] || y >= below[1] || z >= below[2]) continue;
          TbRawData::downSample3DN(reduced, TbTypedPointer(const_cast<unsigned char*>(staged(blockNo(x, y, z, level - 1))),
                                                           lattice.primType),
                                   lattice.blocking[0], lattice.blocking[1], lattice.blocking[2], 2, 2, 2,
                                   lattice.nDataVar, nullptr);
          for (int rz = 0; rz < half[2]; ++rz)
            for (int ry = 0; ry < half[1]; ++ry) {
              const int64_t to = ((static_cast<int64_t>(dz * half[2] + rz) * lattice.blocking[1] + dy * half[1] + ry) *
                                      lattice.blocking[0] + dx * half[0]) * sample;
              std::memcpy(block + to, reduced + (static_cast<size_t>(rz) * half[1] + ry) * row, row);
            }
        }
  }

  // Rebuilt blocks wait here until about this much is ready to be written.
  static const size_t kPendingBytes = 4 << 20;

  LatticeManager& lattice;
  const int level;
  TbProgressInterface* progress;
  const int64_t blockBytes;
  int count[3], below[3], half[3];
  std::vector<StagedRun> sources;  // in the staging space
  unsigned char* space = nullptr;
  int64_t scratch = 0;  // where the staging space holds a reduced block
  std::vector<unsigned char> pending;
  std::vector<StagedRun> pendingRuns;  // in `pending`
};

}  // namespace

int LatticeManager::updateBlock(int* idx, int level) {
  if (level <= 0 || !blockManager || !blockManager->writable) return 0;
  // Zeroed, so the part of a border block beyond the lattice is stored as zeros.
  auto* block = static_cast<unsigned char*>(tbmalloc(static_cast<size_t>(blockBytes())));
  if (!block) return 0;
  std::memset(block, 0, static_cast<size_t>(blockBytes()));
  int first[3];
  int levels[3] = {level, level, level};
  for (int a = 0; a < 3; ++a)
    first[a] = static_cast<int>((static_cast<int64_t>(idx[a]) << level) * blocking[a]);
  int done = getBlockFromBaseLevel(block, first, blocking, first, blocking, levels, level - 1) &&
             blockManager->putBlock(block, getBlockNo(idx, level));
  tbfree(block);
  return done ? 1 : 0;
}

// Levels are visited upward, so the blocks below a level are current by the
// time it is rebuilt. Blocks of odd extent do not split into octants; they are
// rebuilt one by one.
void LatticeManager::updateAllLevels(TbProgressInterface* progress) { updateLevelsOver(dims[2], progress); }

void LatticeManager::updateLevelsOver(int slices, TbProgressInterface* progress) {
  if (progress) progress->beginWork("updating subsampling levels");
  const bool octants = blocking[0] % 2 == 0 && blocking[1] % 2 == 0 && blocking[2] % 2 == 0;
  for (int level = 1; level < numLevels && blockManager; ++level) {
    const int layers = layersOver(slices, level);
    const int done = octants ? LevelRebuild(*this, level, layers, progress).run()
                             : updateLevelBlockByBlock(level, layers, progress);
    if (!done) {
      if (progress) progress->endWork();
      return;
    }
  }
  if (blockManager) blockManager->writeValids();
  if (progress) progress->endWork();
}

int LatticeManager::updateLevelBlockByBlock(int level, int layers, TbProgressInterface* progress) {
  const int count[3] = {blocksAlong(0, level), blocksAlong(1, level), layers};
  int idx[3];
  for (idx[2] = 0; idx[2] < count[2]; ++idx[2])
    for (idx[1] = 0; idx[1] < count[1]; ++idx[1])
      for (idx[0] = 0; idx[0] < count[0]; ++idx[0]) {
        const int blockNo = getBlockNo(idx, level);
        if (progress) progress->setProgress(static_cast<float>(blockNo + 1) / static_cast<float>(numBlocks));
        if (!blockManager->validFlag(blockNo) && !updateBlock(idx, level)) return 0;
      }
  return 1;
}
