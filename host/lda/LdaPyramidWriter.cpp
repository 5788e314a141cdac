#include "host/lda/LdaPyramidWriter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "host/base/TbCPUInfo.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaStoreFolder.h"
#include "host/rawdata/TbRawData.h"

namespace {

// Picks one component out of interleaved samples: `count` elements of `Size`
// bytes, `stride` bytes apart.
template <size_t Size>
void gather(const unsigned char* from, size_t stride, unsigned char* to, int count) {
  for (int i = 0; i < count; ++i, from += stride, to += Size) std::memcpy(to, from, Size);
}

void gatherElements(const unsigned char* from, size_t stride, unsigned char* to, int count,
                    int elementBytes) {
  switch (elementBytes) {
    case 1: gather<1>(from, stride, to, count); break;
    case 2: gather<2>(from, stride, to, count); break;
    case 4: gather<4>(from, stride, to, count); break;
    default: gather<8>(from, stride, to, count); break;
  }
}

}  // namespace

LdaPyramidWriter::LdaPyramidWriter(const LdaLayout& storeLayout, int samplingType,
                                   LdaChunkWorkers& chunkWorkers, std::string folder)
    : layout(storeLayout), sampling(samplingType), workers(chunkWorkers), root(std::move(folder)) {}

bool LdaPyramidWriter::allocate(bool ownLevel0) {
  try {
    levels.resize(layout.numLevels());
    for (int level = 0; level < layout.numLevels(); ++level) {
      if (level > 0 || ownLevel0) levels[level].slab.resize(sliceBytes(level) * layout.tileSize);
      levels[level].slices = levels[level].slab.data();
      levels[level].carry.resize(sliceBytes(level));
    }
    return true;
  } catch (const std::bad_alloc&) {
    levels.clear();
    failure = "not enough memory for the slabs of the levels";
    return false;
  }
}

bool LdaPyramidWriter::addLevel0Slab(const unsigned char* slab, int count) {
  levels[0].slices = slab;
  levels[0].filled = count;
  return flush(0, false);
}

bool LdaPyramidWriter::finish() {
  for (int level = 0; level < layout.numLevels(); ++level)
    if (!flush(level, true)) return false;
  if (workers.finish()) return true;
  failure = workers.error();
  return false;
}

// Writes the level's slab and hands its slices, in pairs, to the next level.
// A slice without its pair waits in `carry`, unless it is the volume's last.
bool LdaPyramidWriter::flush(int level, bool last) {
  LevelState& state = levels[level];
  if (state.filled > 0 && !writeChunks(level)) return false;
  const size_t slice = sliceBytes(level);
  const unsigned char* slab = state.slices;
  int next = 0;
  if (level + 1 < layout.numLevels()) {
    if (state.hasCarry && state.filled > 0) {
      if (!pushReduced(level, state.carry.data(), slab)) return false;
      state.hasCarry = false;
      next = 1;
    }
    for (; next + 1 < state.filled; next += 2)
      if (!pushReduced(level, slab + next * slice, slab + (next + 1) * slice)) return false;
    if (next < state.filled) {
      if (last) {
        if (!pushReduced(level, slab + next * slice, nullptr)) return false;
      } else {
        std::memcpy(state.carry.data(), slab + next * slice, slice);
        state.hasCarry = true;
      }
    } else if (state.hasCarry && last) {
      if (!pushReduced(level, state.carry.data(), nullptr)) return false;
      state.hasCarry = false;
    }
  }
  if (state.filled > 0) ++state.slabIndex;
  state.filled = 0;
  return true;
}

bool LdaPyramidWriter::pushReduced(int level, const unsigned char* first,
                                   const unsigned char* second) {
  LevelState& coarse = levels[level + 1];
  const LdaLevel& fine = layout.levels[level];
  unsigned char* out = coarse.slab.data() + coarse.filled * sliceBytes(level + 1);
  reduceSlices(first, second, out, fine.dims[0], fine.dims[1], layout.nDataVar, layout.primType,
               sampling);
  if (++coarse.filled < layout.tileSize) return true;
  return flush(level + 1, false);
}

bool LdaPyramidWriter::writeChunks(int level) {
  const LdaLevel& shape = layout.levels[level];
  const int iz = levels[level].slabIndex;
  for (int component = 0; component < (layout.hasChannelAxis() ? layout.nDataVar : 1); ++component) {
    const std::string folder = layout.chunkFolder(level, component, iz);
    if (!makeStoreSubfolder(root, folder, failure)) return false;
    for (int iy = 0; iy < shape.chunkCount(1); ++iy) {
      if (!makeStoreSubfolder(root, folder + "/" + std::to_string(iy), failure)) return false;
      for (int ix = 0; ix < shape.chunkCount(0); ++ix) {
        LdaChunkWorkers::Bytes chunk = workers.takeBuffer(layout.chunkBytes(level));
        copyChunk(level, component, iy, ix, chunk.data());
        if (!TbCPUInfo::isLittleEndian())
          TbRawData::swapBytes(TbTypedPointer(chunk.data(), layout.primType), shape.chunkSamples());
        if (!workers.submit(layout.chunkKey(level, component, iz, iy, ix), std::move(chunk))) {
          failure = workers.error();
          return false;
        }
      }
    }
  }
  return true;
}

// The chunk's part of the slab, one component, padded with zeros past the
// level's edge.
void LdaPyramidWriter::copyChunk(int level, int component, int iy, int ix,
                                 unsigned char* chunk) const {
  const LdaLevel& shape = layout.levels[level];
  const size_t elementBytes = layout.primType.size();
  const size_t sampleBytes = layout.sampleBytes();
  const int x0 = ix * shape.chunk[0];
  const int y0 = iy * shape.chunk[1];
  const int width = std::min(shape.chunk[0], shape.dims[0] - x0);
  const int height = std::min(shape.chunk[1], shape.dims[1] - y0);
  const unsigned char* slab = levels[level].slices + component * elementBytes;
  if (width < shape.chunk[0] || height < shape.chunk[1] || levels[level].filled < shape.chunk[2])
    std::memset(chunk, 0, layout.chunkBytes(level));
  for (int z = 0; z < levels[level].filled; ++z)
    for (int y = 0; y < height; ++y) {
      const size_t sample = (static_cast<size_t>(z) * shape.dims[1] + y0 + y) * shape.dims[0] + x0;
      const unsigned char* from = slab + sample * sampleBytes;
      unsigned char* to =
          chunk + (static_cast<size_t>(z) * shape.chunk[1] + y) * shape.chunk[0] * elementBytes;
      if (layout.nDataVar == 1)
        std::memcpy(to, from, width * elementBytes);
      else
        gatherElements(from, sampleBytes, to, width, static_cast<int>(elementBytes));
    }
}
