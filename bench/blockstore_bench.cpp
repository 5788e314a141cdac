// Block store benchmark: prints ratios measured side by side in one run.
//
//   blockstore_bench [FOLDER] [MIB]     (default: ./bench-data, 1024 MiB)
//
// 1. storing a generated uint16 volume through LatticeManager::putBlock in
//    64-slice chunks plus updateAllLevels, over writing the same bytes to one file;
// 2. reading the whole volume at subsampling 8 after the update, over reading it
//    at full resolution;
// 3. downSample3DN throughput for (2,2,2) beside memcpy's;
// and the peak resident memory, which must stay near one chunk whatever the size.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "blockstore/LatticeManager.h"
#include "host/rawdata/TbRawData.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

long peakResidentMiB() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024;
}

struct Volume {
  int dims[3];
  int chunkSlices = 64;
  size_t sliceSamples() const { return static_cast<size_t>(dims[0]) * dims[1]; }
  // A chunk of a structured volume (gradients and a checker pattern, not noise).
  void fill(std::vector<uint16_t>& chunk, int z0, int slices) const {
    for (int z = 0; z < slices; ++z)
      for (int y = 0; y < dims[1]; ++y) {
        uint16_t* row = &chunk[(static_cast<size_t>(z) * dims[1] + y) * dims[0]];
        for (int x = 0; x < dims[0]; ++x)
          row[x] = static_cast<uint16_t>((x * 3 + y * 5 + (z0 + z) * 7) ^ (((x >> 5) + (y >> 5)) & 1 ? 0x3ff : 0));
      }
  }
};

// Writes the volume to one file, chunk by chunk; only the writes are timed.
double writePlainFile(const Volume& v, const std::string& path, std::vector<uint16_t>& chunk) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  double seconds = 0;
  for (int z = 0; z < v.dims[2]; z += v.chunkSlices) {
    int n = std::min(v.chunkSlices, v.dims[2] - z);
    v.fill(chunk, z, n);
    auto start = Clock::now();
    size_t bytes = v.sliceSamples() * n * sizeof(uint16_t);
    if (::write(fd, chunk.data(), bytes) != static_cast<ssize_t>(bytes)) std::perror("write");
    seconds += since(start);
  }
  ::close(fd);
  return seconds;
}

std::unique_ptr<LatticeManager> newLattice(const Volume& v, const int* blocking, const std::string& name) {
  std::unique_ptr<LatticeManager> lattice(new LatticeManager(v.dims, blocking, 1, TbPrimType::UINT16));
  lattice->setBlockManager(BlockManager::create(name.c_str(), lattice->blockBytes(), lattice->numBlocks, 2, 0, 1, 1));
  return lattice;
}

// Stores the volume chunk by chunk and builds the levels; only the store is timed.
double storeVolume(const Volume& v, LatticeManager& lattice, std::vector<uint16_t>& chunk) {
  double seconds = 0;
  for (int z = 0; z < v.dims[2]; z += v.chunkSlices) {
    int n = std::min(v.chunkSlices, v.dims[2] - z);
    v.fill(chunk, z, n);
    const int origin[3] = {0, 0, z}, size[3] = {v.dims[0], v.dims[1], n};
    auto start = Clock::now();
    lattice.putBlock(chunk.data(), origin, size, origin, size);
    seconds += since(start);
  }
  auto start = Clock::now();
  lattice.updateAllLevels(nullptr);
  return seconds + since(start);
}

double readAtLevel(const Volume& v, LatticeManager& lattice, int level, std::vector<uint16_t>& chunk) {
  auto start = Clock::now();
  const int step = v.chunkSlices << level;
  for (int z = 0; z < v.dims[2]; z += step) {
    int slices = std::min(step, v.dims[2] - z);
    const int origin[3] = {0, 0, z};
    const int size[3] = {v.dims[0] >> level, v.dims[1] >> level, slices >> level};
    int levels[3] = {level, level, level};
    if (!lattice.getBlock(chunk.data(), origin, size, origin, size, levels)) std::printf("  read failed\n");
  }
  return since(start);
}

template <class T>
double downSampleGBps(TbPrimType type) {
  const unsigned long n = 64;
  std::vector<T> in(n * n * n), out(n * n * n / 8);
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<T>(i * 2654435761u >> 20);
  const int repeats = 400;
  auto start = Clock::now();
  for (int r = 0; r < repeats; ++r)
    TbRawData::downSample3DN(out.data(), TbTypedPointer(in.data(), type), n, n, n, 2, 2, 2, 1, nullptr);
  return repeats * in.size() * sizeof(T) / since(start) / 1e9;
}

double memcpyGBps() {
  std::vector<char> in(64 * 64 * 64 * 2, 1), out(in.size());
  const int repeats = 2000;
  auto start = Clock::now();
  for (int r = 0; r < repeats; ++r) {
    std::memcpy(out.data(), in.data(), in.size());
    asm volatile("" : : "r"(out.data()) : "memory");
  }
  return repeats * in.size() / since(start) / 1e9;
}

void benchBlocking(const Volume& v, const int* blocking, const std::string& folder, double plainSeconds,
                   std::vector<uint16_t>& chunk) {
  const std::string name = folder + "/lattice";
  auto lattice = newLattice(v, blocking, name);
  double store = storeVolume(v, *lattice, chunk);
  double full = readAtLevel(v, *lattice, 0, chunk);
  double coarse = readAtLevel(v, *lattice, 3, chunk);
  std::printf("blocks %2dx%2dx%2d (%d levels): store+levels %6.2f s = %5.2f x plain write (aim <= 2.5); "
              "read at subsampling 8 %6.3f s = %.3f x full read %6.2f s (aim <= 0.05)\n",
              blocking[0], blocking[1], blocking[2], lattice->numLevels, store, store / plainSeconds, coarse,
              coarse / full, full);
  lattice->blockManager->deleteFiles();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "bench-data";
  const long mib = argc > 2 ? std::atol(argv[2]) : 1024;
  mkdir(folder.c_str(), 0755);
  Volume v{{1024, 1024, static_cast<int>(mib / 2)}};
  std::vector<uint16_t> chunk(v.sliceSamples() * v.chunkSlices);
  std::printf("volume %d x %d x %d uint16 (%ld MiB), 64-slice chunks of %zu MiB\n", v.dims[0], v.dims[1], v.dims[2],
              mib, chunk.size() * 2 >> 20);
  double plain = writePlainFile(v, folder + "/plain.raw", chunk);
  std::printf("plain sequential write: %.2f s (%.2f GB/s)\n", plain, mib * 1048576.0 / plain / 1e9);
  ::unlink((folder + "/plain.raw").c_str());

  const int packageBlocks[3] = {32, 16, 4};
  const int cubicBlocks[3] = {64, 64, 64};
  benchBlocking(v, packageBlocks, folder, plain, chunk);
  benchBlocking(v, cubicBlocks, folder, plain, chunk);

  const double copy = memcpyGBps();
  std::printf("downSample3DN (2,2,2) on a 64^3 block, GB/s of input: uint8 %.2f, uint16 %.2f, float %.2f; "
              "memcpy %.2f (ratios %.2f, %.2f, %.2f)\n",
              downSampleGBps<uint8_t>(TbPrimType::UINT8), downSampleGBps<uint16_t>(TbPrimType::UINT16),
              downSampleGBps<float>(TbPrimType::FLOAT), copy, downSampleGBps<uint8_t>(TbPrimType::UINT8) / copy,
              downSampleGBps<uint16_t>(TbPrimType::UINT16) / copy, downSampleGBps<float>(TbPrimType::FLOAT) / copy);
  std::printf("peak resident memory: %ld MiB (one chunk is %zu MiB)\n", peakResidentMiB(), chunk.size() * 2 >> 20);
  return 0;
}
