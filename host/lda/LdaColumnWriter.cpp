#include "host/lda/LdaColumnWriter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "host/base/TbCPUInfo.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaShardFiles.h"
#include "host/lda/LdaStoreFolder.h"
#include "host/rawdata/TbRawData.h"

namespace {

// Picks one component out of interleaved samples: `count` elements of `Size`
// bytes, `stride` bytes apart.
template <size_t Size>
void gather(const unsigned char* from, size_t stride, unsigned char* to, int count) {
  for (int i = 0; i < count; ++i, from += stride, to += Size) std::memcpy(to, from, Size);
}

void gatherElements(const unsigned char* from, size_t stride, unsigned char* to, int count, size_t elementBytes) {
  switch (elementBytes) {
    case 1: gather<1>(from, stride, to, count); break;
    case 2: gather<2>(from, stride, to, count); break;
    case 4: gather<4>(from, stride, to, count); break;
    default: gather<8>(from, stride, to, count); break;
  }
}

int ceilHalf(long long value, int times) { return static_cast<int>((value + (1LL << times) - 1) >> times); }

// The part of the next level under a region of an even origin.
LdaRegion halved(const LdaRegion& region) {
  return {region.x0 / 2, region.y0 / 2, ceilHalf(region.x0 + region.width, 1) - region.x0 / 2,
          ceilHalf(region.y0 + region.height, 1) - region.y0 / 2};
}

}  // namespace

LdaColumnWriter::LdaColumnWriter(const LdaLayout& storeLayout, const LdaColumnPlan& passPlan, bool stored,
                                 int samplingType, LdaChunkWorkers& chunkWorkers, LdaShardFiles* shardFiles,
                                 LdaStoreFolder& storeFolder, std::function<bool()> stopAsked)
    : layout(storeLayout),
      plan(passPlan),
      firstIsStored(stored),
      sampling(samplingType),
      workers(chunkWorkers),
      shards(shardFiles),
      folder(storeFolder),
      stop(std::move(stopAsked)) {}

bool LdaColumnWriter::allocate(bool ownFirstSlab) {
  try {
    levels.resize(plan.last - plan.first + 1);
    for (size_t i = 0; i < levels.size(); ++i) {
      const int shift = static_cast<int>(i);
      const size_t slice = static_cast<size_t>(ceilHalf(plan.width, shift)) * ceilHalf(plan.height, shift) *
                           layout.sampleBytes();
      if (i > 0 || ownFirstSlab) levels[i].slab.resize(slice * layout.levels[levelOf(i)].chunk[2]);
      levels[i].slices = levels[i].slab.data();
      if (i + 1 < levels.size()) levels[i].carry.resize(slice);
    }
    return true;
  } catch (const std::bad_alloc&) {
    levels.clear();
    failure = "not enough memory for the slabs of the levels";
    return false;
  }
}

void LdaColumnWriter::start(const LdaRegion& column) {
  for (size_t i = 0; i < levels.size(); ++i) {
    LevelState& state = levels[i];
    state.region = i == 0 ? column : halved(levels[i - 1].region);
    state.hasCarry = false;
    state.filled = 0;
    state.slabIndex = 0;
  }
}

bool LdaColumnWriter::addSlabAt(const unsigned char* slices, int count) {
  levels[0].slices = slices;
  levels[0].filled = count;
  return flush(0, false);
}

bool LdaColumnWriter::finish() {
  for (size_t i = 0; i < levels.size(); ++i)
    if (!flush(i, true)) return false;
  return true;
}

// Writes the level's slab and hands its slices, in pairs, to the next level.
// A slice without its pair waits in `carry`, unless it is the volume's last.
bool LdaColumnWriter::flush(size_t index, bool last) {
  LevelState& state = levels[index];
  if (state.filled > 0 && !(index == 0 && firstIsStored) && !writeChunks(index)) return false;
  const size_t slice = sliceBytes(index);
  const unsigned char* slab = state.slices;
  int next = 0;
  if (index + 1 < levels.size()) {
    if (state.hasCarry && state.filled > 0) {
      if (!pushReduced(index, state.carry.data(), slab)) return false;
      state.hasCarry = false;
      next = 1;
    }
    for (; next + 1 < state.filled; next += 2)
      if (!pushReduced(index, slab + next * slice, slab + (next + 1) * slice)) return false;
    if (next < state.filled) {
      if (last) {
        if (!pushReduced(index, slab + next * slice, nullptr)) return false;
      } else {
        std::memcpy(state.carry.data(), slab + next * slice, slice);
        state.hasCarry = true;
      }
    } else if (state.hasCarry && last) {
      if (!pushReduced(index, state.carry.data(), nullptr)) return false;
      state.hasCarry = false;
    }
  }
  if (state.filled > 0) ++state.slabIndex;
  state.filled = 0;
  return true;
}

bool LdaColumnWriter::pushReduced(size_t index, const unsigned char* first, const unsigned char* second) {
  LevelState& coarse = levels[index + 1];
  const LdaRegion& fine = levels[index].region;
  unsigned char* out = coarse.slab.data() + coarse.filled * sliceBytes(index + 1);
  reduceSlices(first, second, out, fine.width, fine.height, layout.nDataVar, layout.primType, sampling);
  if (++coarse.filled < layout.levels[levelOf(index + 1)].chunk[2]) return true;
  return flush(index + 1, false);
}

bool LdaColumnWriter::writeChunks(size_t index) {
  const int level = levelOf(index);
  const LdaLevel& shape = layout.levels[level];
  const LdaRegion& region = levels[index].region;
  const int iz = levels[index].slabIndex;
  const int components = layout.hasChannelAxis() ? layout.nDataVar : 1;
  for (int component = 0; component < components; ++component)
    for (int cy = region.y0 / shape.chunk[1]; cy * shape.chunk[1] < region.y0 + region.height; ++cy) {
      if (!folder.makeFolder(layout.chunkFolder(level, component, iz, cy), failure)) return false;
      for (int cx = region.x0 / shape.chunk[0]; cx * shape.chunk[0] < region.x0 + region.width; ++cx) {
        if (stop()) return false;
        LdaChunkWorkers::Bytes chunk = workers.takeBuffer(layout.chunkBytes(level));
        copyChunk(index, component, cx, cy, chunk.data());
        if (!TbCPUInfo::isLittleEndian())
          TbRawData::swapBytes(TbTypedPointer(chunk.data(), layout.primType), shape.chunkSamples());
        const std::string key = layout.chunkKey(level, component, iz, cy, cx);
        LdaShardPlace place;
        if (shards)
          place = {layout.placeInShard(level, iz, cy, cx), shape.chunksPerShard(), layout.chunksInShard(level, iz, cy, cx),
                   shards->ticket(key)};
        if (!workers.submit(key, std::move(chunk), place)) {
          failure = workers.error();
          return false;
        }
      }
    }
  return true;
}

// The chunk's part of the level's slab, one component, padded with zeros past
// the level's edge.
void LdaColumnWriter::copyChunk(size_t index, int component, int cx, int cy, unsigned char* chunk) const {
  const LdaLevel& shape = layout.levels[levelOf(index)];
  const LevelState& state = levels[index];
  const size_t elementBytes = layout.primType.size();
  const size_t sampleBytes = layout.sampleBytes();
  const int x0 = cx * shape.chunk[0], y0 = cy * shape.chunk[1];
  const int width = std::min(shape.chunk[0], shape.dims[0] - x0);
  const int height = std::min(shape.chunk[1], shape.dims[1] - y0);
  const unsigned char* slab = state.slices + component * elementBytes;
  if (width < shape.chunk[0] || height < shape.chunk[1] || state.filled < shape.chunk[2])
    std::memset(chunk, 0, layout.chunkBytes(levelOf(index)));
  for (int z = 0; z < state.filled; ++z)
    for (int y = 0; y < height; ++y) {
      const size_t sample = (static_cast<size_t>(z) * state.region.height + (y0 - state.region.y0) + y) *
                                state.region.width + (x0 - state.region.x0);
      const unsigned char* from = slab + sample * sampleBytes;
      unsigned char* to = chunk + (static_cast<size_t>(z) * shape.chunk[1] + y) * shape.chunk[0] * elementBytes;
      if (layout.nDataVar == 1) std::memcpy(to, from, width * elementBytes);
      else gatherElements(from, sampleBytes, to, width, elementBytes);
    }
}
