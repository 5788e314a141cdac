// Writes a generated volume into a block store, builds its coarser levels and
// reads it back at every level, printing what it did. Usage:
//   blockstore_demo [FOLDER]     (default: ./demo-data)
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "blockstore/LatticeManager.h"

namespace {

const int kDims[3] = {256, 256, 128};
const int kBlocking[3] = {32, 32, 32};

// Two overlapping soft spheres in a faint gradient: easy to recognise at any level.
uint16_t sampleAt(int x, int y, int z) {
  auto sphere = [](double dx, double dy, double dz, double r) {
    double d = std::sqrt(dx * dx + dy * dy + dz * dz);
    return d < r ? (r - d) / r : 0.0;
  };
  double v = 0.1 * z / kDims[2] + sphere(x - 100, y - 120, z - 64, 70) +
             0.6 * sphere(x - 180, y - 150, z - 50, 45);
  return static_cast<uint16_t>(std::fmin(v, 1.0) * 60000.0);
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool writeVolume(LatticeManager& lattice) {
  const int chunk = 64;
  std::vector<uint16_t> slices(static_cast<size_t>(kDims[0]) * kDims[1] * chunk);
  for (int z0 = 0; z0 < kDims[2]; z0 += chunk) {
    for (int z = 0; z < chunk; ++z)
      for (int y = 0; y < kDims[1]; ++y)
        for (int x = 0; x < kDims[0]; ++x)
          slices[(static_cast<size_t>(z) * kDims[1] + y) * kDims[0] + x] = sampleAt(x, y, z0 + z);
    const int origin[3] = {0, 0, z0};
    const int size[3] = {kDims[0], kDims[1], chunk};
    if (!lattice.putBlock(slices.data(), origin, size, origin, size)) return false;
  }
  return true;
}

void readEveryLevel(LatticeManager& lattice) {
  for (int level = 0; level <= lattice.numLevels; ++level) {
    int size[3];
    for (int a = 0; a < 3; ++a) size[a] = (kDims[a] + (1 << level) - 1) >> level;
    std::vector<uint16_t> box(static_cast<size_t>(size[0]) * size[1] * size[2]);
    const int origin[3] = {0, 0, 0};
    int levels[3] = {level, level, level};
    auto start = std::chrono::steady_clock::now();
    if (!lattice.getBlock(box.data(), origin, size, origin, size, levels)) {
      std::printf("  subsampling %3d: read failed\n", 1 << level);
      continue;
    }
    double sum = 0;
    for (uint16_t v : box) sum += v;
    const uint16_t centre = box[(static_cast<size_t>(size[2] / 2) * size[1] + size[1] / 2) * size[0] + size[0] * 100 / 256];
    std::printf("  subsampling %3d: %3d x %3d x %3d samples, mean %8.1f, sample near sphere centre %5u, %.3f s\n",
                1 << level, size[0], size[1], size[2], sum / box.size(), centre, secondsSince(start));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "demo-data";
  mkdir(folder.c_str(), 0755);
  const std::string name = folder + "/demo.vol";
  std::unique_ptr<LatticeManager> lattice(new LatticeManager(kDims, kBlocking, 1, TbPrimType::UINT16));
  std::printf("volume %d x %d x %d uint16, blocks of %d x %d x %d: %d levels, %d blocks\n", kDims[0],
              kDims[1], kDims[2], kBlocking[0], kBlocking[1], kBlocking[2], lattice->numLevels,
              lattice->numBlocks);
  BlockManager* set = BlockManager::create(name.c_str(), lattice->blockBytes(), lattice->numBlocks, 2, 0, 1, 1);
  if (!set) {
    std::printf("could not create the block files %s-*.dat\n", name.c_str());
    return 1;
  }
  lattice->setBlockManager(set);
  auto start = std::chrono::steady_clock::now();
  if (!writeVolume(*lattice)) {
    std::printf("writing the volume failed\n");
    return 1;
  }
  std::printf("wrote level 0 in 64-slice chunks to %s-*.dat in %.3f s\n", name.c_str(), secondsSince(start));
  start = std::chrono::steady_clock::now();
  lattice->updateAllLevels(nullptr);
  std::printf("built levels 1 to %d in %.3f s\n", lattice->numLevels - 1, secondsSince(start));
  std::printf("reading the whole volume back:\n");
  readEveryLevel(*lattice);
  return 0;
}
