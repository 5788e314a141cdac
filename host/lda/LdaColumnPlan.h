#pragma once
// LdaColumnPlan: how one pass of a tiled conversion cuts its source level
// into columns so that its buffers stay within a memory allowance.
//
// A pass reads level `first` (the input for level 0, else a level already
// stored) as columns: rectangles of `width` x `height` samples (the last ones
// clipped to the level) taken through the whole depth, a slab of chunk-deep
// slices at a time. Inside a column it builds levels first to `last` from
// those slabs, each level holding one slab and one slice of its part of the
// column; levels above `last` are left to a later pass that reads `last` back
// from the store. A column's width and height are the level's whole extent
// or a multiple of the chunk edge times 2^(last - first), so that every level
// of the pass meets whole chunks and never averages across two columns.
//
// planColumns picks, among the columns that fit `allowance` bytes, the plan
// with the least estimated cost: rows read one at a time (raw files), images
// or rows decoded more than once (image stacks), and the level read back
// when a pass stops short of the top. When nothing fits it answers the
// smallest columns that reach `minLast` with `fits` false. It never fails.
#include <cstddef>

#include "host/lda/LdaLayout.h"
#include "host/lda/LdaSlabSource.h"

struct LdaColumnPlan {
  int first, last;
  int width, height;  // in samples of level `first`
  bool fits;
  int columns(const LdaLayout& layout) const;
};

struct LdaPassNeeds {
  LdaSlabSource::SplitCost splitCost;
  size_t bytesPerRegionSample;  // staging a source keeps for each sample of a region slice
  size_t fixedBytes;            // what the source and the chunk workers hold whatever the columns
};

// `minLast` is the lowest level the pass must reach (first + 1 when level
// `first` is stored already).
LdaColumnPlan planColumns(const LdaLayout& layout, int first, int minLast, const LdaPassNeeds& needs,
                          size_t allowance);

// The plan cut into at least `minColumns` columns where the levels' chunks
// (shards) allow, the fewest levels given up for it (down to `minLast`); a
// plan of enough columns already comes back as it is. For conversions spread
// over several processes, each taking columns.
LdaColumnPlan planTasks(const LdaLayout& layout, const LdaColumnPlan& plan, int minLast, int minColumns);

// Bytes the buffers of a pass take with these columns.
size_t columnBytes(const LdaLayout& layout, const LdaColumnPlan& plan, const LdaPassNeeds& needs);
