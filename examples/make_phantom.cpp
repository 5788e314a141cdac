// Writes a synthetic head-like phantom as a raw volume: nested ellipsoids of
// different densities (skin, bone, brain, ventricles) with a smooth shading,
// the kind of structure a scan has, not noise. Usage:
//   make_phantom FILE X Y Z [little|big]      (uint16 values, one file)
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Ellipsoid {
  double cx, cy, cz, rx, ry, rz;
  double density;
  bool contains(double x, double y, double z) const {
    double dx = (x - cx) / rx, dy = (y - cy) / ry, dz = (z - cz) / rz;
    return dx * dx + dy * dy + dz * dz <= 1.0;
  }
};

// In unit coordinates (-1..1 on every axis); later shapes paint over earlier ones.
const Ellipsoid kShapes[] = {
    {0, 0, 0, 0.90, 0.95, 0.85, 1200},      // skin and soft tissue
    {0, 0, 0, 0.85, 0.90, 0.80, 3000},      // skull
    {0, 0, 0, 0.78, 0.84, 0.73, 1800},      // brain
    {-0.22, 0.05, 0.1, 0.10, 0.30, 0.15, 600},  // ventricles
    {0.22, 0.05, 0.1, 0.10, 0.30, 0.15, 600},
    {0.35, -0.45, -0.2, 0.12, 0.12, 0.12, 2400},  // a dense lesion
};

uint16_t densityAt(double x, double y, double z) {
  double value = 0;
  for (const Ellipsoid& shape : kShapes)
    if (shape.contains(x, y, z)) value = shape.density;
  if (value > 0) value += 150.0 * std::sin(6.0 * x) * std::cos(5.0 * y + 3.0 * z);  // texture
  return static_cast<uint16_t>(value < 0 ? 0 : value);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: make_phantom FILE X Y Z [little|big]\n");
    return 2;
  }
  const int nx = std::atoi(argv[2]), ny = std::atoi(argv[3]), nz = std::atoi(argv[4]);
  const bool bigEndian = argc > 5 && std::strcmp(argv[5], "big") == 0;
  if (nx < 1 || ny < 1 || nz < 1) {
    std::fprintf(stderr, "make_phantom: sizes must be positive\n");
    return 2;
  }
  FILE* out = std::fopen(argv[1], "wb");
  if (!out) {
    std::perror(argv[1]);
    return 1;
  }
  std::vector<uint16_t> slice(static_cast<size_t>(nx) * ny);
  for (int z = 0; z < nz; ++z) {
    for (int y = 0; y < ny; ++y)
      for (int x = 0; x < nx; ++x) {
        uint16_t v = densityAt(2.0 * x / nx - 1, 2.0 * y / ny - 1, 2.0 * z / nz - 1);
        slice[static_cast<size_t>(y) * nx + x] = bigEndian ? static_cast<uint16_t>((v >> 8) | (v << 8)) : v;
      }
    if (std::fwrite(slice.data(), 2, slice.size(), out) != slice.size()) {
      std::perror(argv[1]);
      std::fclose(out);
      return 1;
    }
  }
  return std::fclose(out) == 0 ? 0 : 1;
}
