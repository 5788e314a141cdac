#pragma once
// A volume held whole in memory, with the straightforward reductions the stored
// levels must match and a comparison sample by sample. Samples x fastest, then
// y, then z, nc components each.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "host/base/TbPrimType.h"

// The element type of samples of type T.
template <class T>
TbPrimType primTypeOf() {
  if constexpr (std::is_same_v<T, uint8_t>) return TbPrimType::UINT8;
  else if constexpr (std::is_same_v<T, int16_t>) return TbPrimType::INT16;
  else if constexpr (std::is_same_v<T, uint16_t>) return TbPrimType::UINT16;
  else if constexpr (std::is_same_v<T, int32_t>) return TbPrimType::INT32;
  else if constexpr (std::is_same_v<T, float>) return TbPrimType::FLOAT;
  else {
    static_assert(std::is_same_v<T, double>, "not an element type of the host");
    return TbPrimType::DOUBLE;
  }
}

template <class T>
struct ReferenceVolume {
  int nx = 0, ny = 0, nz = 0, nc = 1;
  std::vector<T> values;

  ReferenceVolume() = default;
  ReferenceVolume(int x, int y, int z, int components = 1)
      : nx(x), ny(y), nz(z), nc(components), values(static_cast<size_t>(x) * y * z * components) {}

  T& at(int x, int y, int z, int c = 0) {
    return values[((static_cast<size_t>(z) * ny + y) * nx + x) * nc + c];
  }
  T at(int x, int y, int z, int c = 0) const {
    return values[((static_cast<size_t>(z) * ny + y) * nx + x) * nc + c];
  }
  T valueOr0(int x, int y, int z, int c) const {
    return x < nx && y < ny && z < nz ? at(x, y, z, c) : T(0);
  }

  // A smooth field with some structure, so means are not trivial.
  static ReferenceVolume generated(int x, int y, int z, int components = 1) {
    ReferenceVolume v(x, y, z, components);
    for (int k = 0; k < z; ++k)
      for (int j = 0; j < y; ++j)
        for (int i = 0; i < x; ++i)
          for (int c = 0; c < components; ++c)
            v.at(i, j, k, c) = static_cast<T>((i * 37 + j * 11 + k * 5 + c * 101 + (i * j) % 13) % 251);
    return v;
  }

  // Mean of each fx*fy*fz cell, samples beyond the volume counting as 0, rounded
  // to nearest with ties to even for integers; the result covers ceil(n/f).
  ReferenceVolume reduced(int fx, int fy, int fz) const {
    ReferenceVolume out((nx + fx - 1) / fx, (ny + fy - 1) / fy, (nz + fz - 1) / fz, nc);
    for (int k = 0; k < out.nz; ++k)
      for (int j = 0; j < out.ny; ++j)
        for (int i = 0; i < out.nx; ++i)
          for (int c = 0; c < nc; ++c) out.at(i, j, k, c) = cellMean(i * fx, j * fy, k * fz, fx, fy, fz, c);
    return out;
  }

  T cellMean(int x0, int y0, int z0, int fx, int fy, int fz, int c) const {
    long double sum = 0;
    for (int z = z0; z < z0 + fz; ++z)
      for (int y = y0; y < y0 + fy; ++y)
        for (int x = x0; x < x0 + fx; ++x) sum += valueOr0(x, y, z, c);
    long double mean = sum / (fx * fy * fz);
    if (std::is_floating_point<T>::value) return static_cast<T>(mean);
    return static_cast<T>(std::nearbyint(static_cast<double>(mean)));  // default rounding: ties to even
  }
};

// Same shape and the same value in every component of every sample.
template <class T>
::testing::AssertionResult sameSamples(const ReferenceVolume<T>& got, const ReferenceVolume<T>& want) {
  if (got.nx != want.nx || got.ny != want.ny || got.nz != want.nz || got.nc != want.nc)
    return ::testing::AssertionFailure() << "shape " << got.nx << "x" << got.ny << "x" << got.nz << "x" << got.nc
                                         << ", wanted " << want.nx << "x" << want.ny << "x" << want.nz << "x"
                                         << want.nc;
  for (size_t i = 0; i < want.values.size(); ++i)
    if (!(got.values[i] == want.values[i]))
      return ::testing::AssertionFailure() << "sample " << i / want.nc << " component " << i % want.nc << ": "
                                           << +got.values[i] << ", wanted " << +want.values[i];
  return ::testing::AssertionSuccess();
}
