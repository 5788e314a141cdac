#include "host/lda/LdaColumnPlan.h"

#include <algorithm>
#include <vector>

namespace {

// Estimated seconds of the ways a plan can cost time (rough, for ranking only).
const double kSecondsPerRowRead = 2e-6;
const double kSecondsPerDecodedByte = 2e-9;
const double kSecondsPerImageByte = 5e-9;
const double kSecondsPerReadBackByte = 1e-9;

int ceilDiv(long long a, long long b) { return static_cast<int>((a + b - 1) / b); }

// The column edge along an axis that keeps levels first..last on whole
// chunks (whole shards, where a store has them), in samples of level
// `first`; 0 when only the whole extent does.
long long alignment(const LdaLayout& layout, int first, int last, int axis) {
  long long unit = 1;
  for (int level = first; level <= last; ++level) {
    const LdaLevel& shape = layout.levels[level];
    if (shape.dims[axis] <= shape.shardEdge(axis)) return 0;
    unit = std::max(unit, static_cast<long long>(shape.shardEdge(axis)) << (level - first));
  }
  return unit;
}

double planCost(const LdaLayout& layout, const LdaColumnPlan& plan, const LdaPassNeeds& needs) {
  const LdaLevel& level = layout.levels[plan.first];
  const double bytes = static_cast<double>(level.sliceSamples()) * level.dims[2] * layout.sampleBytes();
  const int across = ceilDiv(level.dims[0], plan.width);
  const int down = ceilDiv(level.dims[1], plan.height);
  double cost = 0;
  if (needs.splitCost == LdaSlabSource::ROWS_ANYWHERE && across > 1)
    cost += kSecondsPerRowRead * across * static_cast<double>(level.dims[1]) * level.dims[2];
  if (needs.splitCost == LdaSlabSource::WHOLE_ROWS) cost += kSecondsPerDecodedByte * (across - 1) * bytes;
  if (needs.splitCost == LdaSlabSource::WHOLE_IMAGES) cost += kSecondsPerImageByte * (across * down - 1) * bytes;
  if (plan.last + 1 < layout.numLevels()) {
    const LdaLevel& top = layout.levels[plan.last];
    cost += kSecondsPerReadBackByte * static_cast<double>(top.sliceSamples()) * top.dims[2] * layout.sampleBytes();
  }
  return cost;
}

// The largest extent along `axis` (the other one fixed) that fits: the whole
// axis, or else a multiple of `unit` below it (none when unit is 0); 0 when
// even the smallest does not fit.
int widest(const LdaLayout& layout, LdaColumnPlan plan, int axis, long long unit, const LdaPassNeeds& needs,
           size_t allowance) {
  const int extent = layout.levels[plan.first].dims[axis];
  int& size = axis == 0 ? plan.width : plan.height;
  const auto fits = [&](long long candidate) {
    size = static_cast<int>(candidate);
    return columnBytes(layout, plan, needs) <= allowance;
  };
  if (fits(extent)) return extent;
  if (unit == 0) return 0;
  long long low = 0, high = (extent - 1) / unit;  // multiples of unit strictly inside the axis
  while (low < high) {
    const long long middle = (low + high + 1) / 2;
    if (fits(middle * unit)) low = middle;
    else high = middle - 1;
  }
  return static_cast<int>(low * unit);
}

// The narrowest columns that keep levels first..last on whole chunks.
LdaColumnPlan smallestPlan(const LdaLayout& layout, int first, int last) {
  const LdaLevel& base = layout.levels[first];
  int edge[2];
  for (int axis = 0; axis < 2; ++axis) {
    const long long unit = alignment(layout, first, last, axis);
    edge[axis] = unit == 0 || unit >= base.dims[axis] ? base.dims[axis] : static_cast<int>(unit);
  }
  return {first, last, edge[0], edge[1], false};
}

}  // namespace

int LdaColumnPlan::columns(const LdaLayout& layout) const {
  const LdaLevel& level = layout.levels[first];
  return ceilDiv(level.dims[0], width) * ceilDiv(level.dims[1], height);
}

size_t columnBytes(const LdaLayout& layout, const LdaColumnPlan& plan, const LdaPassNeeds& needs) {
  size_t bytes = needs.fixedBytes + static_cast<size_t>(plan.width) * plan.height * needs.bytesPerRegionSample;
  for (int level = plan.first; level <= plan.last; ++level) {
    const int shift = level - plan.first;
    const size_t width = ceilDiv(plan.width, 1LL << shift), height = ceilDiv(plan.height, 1LL << shift);
    bytes += width * height * (layout.levels[level].chunk[2] + 1) * layout.sampleBytes();
  }
  return bytes;
}


LdaColumnPlan planColumns(const LdaLayout& layout, int first, int minLast, const LdaPassNeeds& needs,
                          size_t allowance) {
  const LdaLevel& base = layout.levels[first];
  std::vector<LdaColumnPlan> candidates;
  for (int last = std::max(first, minLast); last < layout.numLevels(); ++last) {
    const long long unitX = alignment(layout, first, last, 0), unitY = alignment(layout, first, last, 1);
    // Bands of whole rows, as high as fit.
    LdaColumnPlan bands{first, last, base.dims[0], 0, true};
    bands.height = widest(layout, bands, 1, unitY, needs, allowance);
    if (bands.height > 0) candidates.push_back(bands);
    // Columns of the lowest aligned height, as wide as fit.
    const bool lowestIsWhole = unitY == 0 || unitY >= base.dims[1];
    LdaColumnPlan narrow{first, last, 0, lowestIsWhole ? base.dims[1] : static_cast<int>(unitY), true};
    narrow.width = widest(layout, narrow, 0, unitX, needs, allowance);
    if (narrow.width > 0 && narrow.width < base.dims[0]) candidates.push_back(narrow);
  }
  if (candidates.empty()) return smallestPlan(layout, first, std::max(first, minLast));
  const LdaColumnPlan* best = &candidates[0];
  double bestCost = planCost(layout, *best, needs);
  for (const LdaColumnPlan& candidate : candidates) {
    const double cost = planCost(layout, candidate, needs);
    if (cost < bestCost || (cost == bestCost && candidate.last > best->last)) {
      best = &candidate;
      bestCost = cost;
    }
  }
  return *best;
}

LdaColumnPlan planTasks(const LdaLayout& layout, const LdaColumnPlan& plan, int minLast, int minColumns) {
  if (plan.columns(layout) >= minColumns) return plan;
  const LdaLevel& base = layout.levels[plan.first];
  LdaColumnPlan best = plan;
  for (int last = plan.last; last >= std::max(plan.first, minLast); --last) {
    LdaColumnPlan tiles = smallestPlan(layout, plan.first, last);
    tiles.fits = plan.fits;
    // As large as the aligned tiles may grow while there are still enough of them.
    for (bool grown = true; grown;) {
      grown = false;
      for (int* edge : {&tiles.width, &tiles.height}) {
        const int axis = edge == &tiles.width ? 0 : 1;
        const int before = *edge;
        *edge = std::min(*edge * 2, base.dims[axis]);
        if (*edge != before && tiles.columns(layout) >= minColumns) grown = true;
        else *edge = before;
      }
    }
    if (tiles.columns(layout) >= minColumns) return tiles;
    if (tiles.columns(layout) > best.columns(layout)) best = tiles;
  }
  return best;
}
