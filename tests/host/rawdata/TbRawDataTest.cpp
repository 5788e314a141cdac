#include "host/rawdata/TbRawData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "support/ReferenceVolume.h"

namespace {

struct Shape {
  unsigned long nx, ny, nz;
};

struct Factors {
  int fx, fy, fz;
};

unsigned long outputElements(Shape s, Factors f, int components) {
  return (s.nx / f.fx) * (s.ny / f.fy) * (s.nz / f.fz) * components;
}

// Integers span their whole range, so sums come close to every limit. Floating
// values are multiples of 1/64 below 1000 in magnitude: every sum of them is
// exact, so the only rounding left is the final division and store.
template <typename T>
std::vector<T> randomValues(unsigned long count, std::mt19937_64& rng) {
  std::vector<T> values(count);
  if constexpr (std::is_floating_point_v<T>) {
    std::uniform_int_distribution<int> sixtyFourths(-64000, 64000);
    for (T& v : values) v = static_cast<T>(sixtyFourths(rng) / 64.0);
  } else {
    std::uniform_int_distribution<long long> any(std::numeric_limits<T>::min(),
                                                 std::numeric_limits<T>::max());
    for (T& v : values) v = static_cast<T>(any(rng));
  }
  return values;
}

// The obvious triple loop. Every sum is exact in double (integers stay below
// 2^53, floating values are multiples of 1/64), so the mean is rounded once,
// to the element type, and for integers by nearbyint in the default rounding
// mode, which breaks ties to even.
template <typename T>
std::vector<T> referenceReduction(const std::vector<T>& in, Shape s, Factors f, int components) {
  const unsigned long ox = s.nx / f.fx, oy = s.ny / f.fy, oz = s.nz / f.fz;
  const double blockSamples = static_cast<double>(f.fx) * f.fy * f.fz;
  std::vector<T> out;
  for (unsigned long z = 0; z < oz; ++z)
    for (unsigned long y = 0; y < oy; ++y)
      for (unsigned long x = 0; x < ox; ++x)
        for (int v = 0; v < components; ++v) {
          double sum = 0;
          for (unsigned long dz = 0; dz < static_cast<unsigned long>(f.fz); ++dz)
            for (unsigned long dy = 0; dy < static_cast<unsigned long>(f.fy); ++dy)
              for (unsigned long dx = 0; dx < static_cast<unsigned long>(f.fx); ++dx) {
                const unsigned long sample =
                    ((z * f.fz + dz) * s.ny + (y * f.fy + dy)) * s.nx + (x * f.fx + dx);
                sum += in[sample * components + v];
              }
          const double mean = sum / blockSamples;
          out.push_back(static_cast<T>(std::is_floating_point_v<T> ? mean : std::nearbyint(mean)));
        }
  return out;
}

// Bytes the reduction must never write: a destination is made this much longer
// than the output and the tail is checked afterwards.
constexpr unsigned char kGuardByte = 0xA5;
constexpr unsigned long kGuardElements = 16;

template <typename T>
std::vector<T> guardedBuffer(unsigned long elements) {
  std::vector<T> buffer(elements + kGuardElements);
  std::memset(buffer.data(), kGuardByte, buffer.size() * sizeof(T));
  return buffer;
}

template <typename T>
bool onlyGuardBytesFrom(const std::vector<T>& buffer, unsigned long firstElement) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.data());
  for (size_t i = firstElement * sizeof(T); i < buffer.size() * sizeof(T); ++i) {
    if (bytes[i] != kGuardByte) return false;
  }
  return true;
}

template <typename T>
int reduce(T* destination, std::vector<T>& in, Shape s, Factors f, int components) {
  return TbRawData::downSample3DN(destination, TbTypedPointer(in.data(), primTypeOf<T>()), s.nx, s.ny,
                                  s.nz, f.fx, f.fy, f.fz, components, nullptr);
}

// Runs the reduction into a guarded buffer, checks the guard, returns the output.
template <typename T>
std::vector<T> reduced(std::vector<T>& in, Shape s, Factors f, int components) {
  const unsigned long count = outputElements(s, f, components);
  std::vector<T> buffer = guardedBuffer<T>(count);
  EXPECT_EQ(1, reduce(buffer.data(), in, s, f, components));
  EXPECT_TRUE(onlyGuardBytesFrom(buffer, count)) << "wrote past the output";
  buffer.resize(count);
  return buffer;
}

// The single output value of one block of fx*fy*fz one-component samples.
template <typename T>
T meanOfBlock(std::vector<T> block, Factors f) {
  const Shape s{static_cast<unsigned long>(f.fx), static_cast<unsigned long>(f.fy),
                static_cast<unsigned long>(f.fz)};
  EXPECT_EQ(block.size(), s.nx * s.ny * s.nz);
  const std::vector<T> out = reduced(block, s, f, 1);
  return out.empty() ? T() : out[0];
}

template <typename T>
std::vector<T> repeated(T value, unsigned long count) {
  return std::vector<T>(count, value);
}

template <typename T>
std::vector<T> halfAndHalf(T first, T second, unsigned long count) {
  std::vector<T> values(count, first);
  for (unsigned long i = count / 2; i < count; ++i) values[i] = second;
  return values;
}

constexpr Factors kHalving{2, 2, 2};

// ---- agreement with the reference on random volumes ----

template <typename T>
class DownSampleAgainstReference : public ::testing::Test {};
using ElementTypes = ::testing::Types<uint8_t, int16_t, int32_t, float, double, uint16_t>;
TYPED_TEST_SUITE(DownSampleAgainstReference, ElementTypes);

std::string describe(Shape s, Factors f, int components) {
  return std::to_string(s.nx) + "x" + std::to_string(s.ny) + "x" + std::to_string(s.nz) + " by (" +
         std::to_string(f.fx) + "," + std::to_string(f.fy) + "," + std::to_string(f.fz) + "), " +
         std::to_string(components) + " components";
}

template <typename T>
void expectMatchesReference(Shape s, Factors f, int components, std::mt19937_64& rng) {
  SCOPED_TRACE(describe(s, f, components));
  std::vector<T> in = randomValues<T>(s.nx * s.ny * s.nz * components, rng);
  EXPECT_EQ(reduced(in, s, f, components), referenceReduction(in, s, f, components));
}

// Odd sizes leave trailing samples on every axis; 601 samples in x are longer
// than one stack tile, so rows are processed in several pieces.
TYPED_TEST(DownSampleAgainstReference, MatchesForEveryFactorShapeAndComponentCount) {
  std::mt19937_64 rng(20240611);
  const Shape shapes[] = {{13, 11, 9}, {8, 6, 4}, {601, 3, 5}, {1, 1, 1}};
  const Factors factors[] = {{2, 2, 2}, {2, 1, 1}, {1, 2, 4}, {3, 3, 3}, {1, 1, 1}, {4, 4, 4}, {5, 2, 3}};
  for (Shape s : shapes) {
    for (Factors f : factors) {
      for (int components : {1, 2, 3, 5}) expectMatchesReference<TypeParam>(s, f, components, rng);
    }
  }
}

// Many components per sample: a pair of halving samples just fills one tile at
// 256 components and no longer fits at 300.
TYPED_TEST(DownSampleAgainstReference, MatchesWithManyComponents) {
  std::mt19937_64 rng(7);
  for (int components : {255, 256, 257, 300}) {
    expectMatchesReference<TypeParam>({5, 4, 3}, kHalving, components, rng);
    expectMatchesReference<TypeParam>({5, 4, 3}, {3, 1, 2}, components, rng);
  }
}

TYPED_TEST(DownSampleAgainstReference, ReducingInPlaceGivesTheSameResult) {
  std::mt19937_64 rng(99);
  const Shape s{37, 9, 7};
  for (Factors f : {kHalving, Factors{3, 1, 2}, Factors{1, 1, 1}}) {
    SCOPED_TRACE(describe(s, f, 3));
    std::vector<TypeParam> in = randomValues<TypeParam>(s.nx * s.ny * s.nz * 3, rng);
    const std::vector<TypeParam> expected = referenceReduction(in, s, f, 3);
    ASSERT_EQ(1, reduce(in.data(), in, s, f, 3));
    in.resize(expected.size());
    EXPECT_EQ(in, expected);
  }
}

// ---- rounding ----

TEST(DownSampleRounding, HalvingBreaksTiesToEven) {
  EXPECT_EQ(2, meanOfBlock<uint8_t>(halfAndHalf<uint8_t>(1, 2, 8), kHalving));  // 1.5
  EXPECT_EQ(0, meanOfBlock<uint8_t>(halfAndHalf<uint8_t>(0, 1, 8), kHalving));  // 0.5
  EXPECT_EQ(2, meanOfBlock<uint8_t>(halfAndHalf<uint8_t>(2, 3, 8), kHalving));  // 2.5
  EXPECT_EQ(0, meanOfBlock<int16_t>(halfAndHalf<int16_t>(0, -1, 8), kHalving));    // -0.5
  EXPECT_EQ(-2, meanOfBlock<int16_t>(halfAndHalf<int16_t>(-1, -2, 8), kHalving));  // -1.5
  EXPECT_EQ(-2, meanOfBlock<int16_t>(halfAndHalf<int16_t>(-2, -3, 8), kHalving));  // -2.5
  EXPECT_EQ(-4, meanOfBlock<int32_t>(halfAndHalf<int32_t>(-3, -4, 8), kHalving));  // -3.5
  EXPECT_EQ(4, meanOfBlock<uint16_t>(halfAndHalf<uint16_t>(4, 5, 8), kHalving));   // 4.5
}

TEST(DownSampleRounding, HalvingRoundsOtherFractionsToNearest) {
  EXPECT_EQ(1, meanOfBlock<uint8_t>({1, 1, 1, 1, 1, 1, 2, 2}, kHalving));      // 1.25
  EXPECT_EQ(2, meanOfBlock<uint8_t>({1, 1, 2, 2, 2, 2, 2, 2}, kHalving));      // 1.75
  EXPECT_EQ(-1, meanOfBlock<int16_t>({-1, -1, -1, -1, -1, -1, -2, -2}, kHalving));  // -1.25
  EXPECT_EQ(-2, meanOfBlock<int16_t>({-1, -1, -2, -2, -2, -2, -2, -2}, kHalving));  // -1.75
}

TEST(DownSampleRounding, OtherFactorsBreakTiesToEven) {
  EXPECT_EQ(2, meanOfBlock<uint8_t>({1, 2}, {2, 1, 1}));            // 1.5
  EXPECT_EQ(0, meanOfBlock<int16_t>({0, -1}, {1, 1, 2}));           // -0.5
  EXPECT_EQ(-2, meanOfBlock<int16_t>({-1, -2}, {1, 2, 1}));         // -1.5
  EXPECT_EQ(2, meanOfBlock<int32_t>({1, 2, 3, 4}, {4, 1, 1}));      // 2.5
  EXPECT_EQ(-2, meanOfBlock<int32_t>({-1, -2, -3, -4}, {4, 1, 1}));  // -2.5
  EXPECT_EQ(6, meanOfBlock<uint16_t>({5, 5, 7, 7, 5, 7}, {1, 2, 3}));  // 6 exactly
}

// Thirds never tie, so these catch truncation towards zero and plain flooring.
TEST(DownSampleRounding, OtherFactorsRoundThirdsToNearest) {
  EXPECT_EQ(0, meanOfBlock<int16_t>({0, 0, 1}, {3, 1, 1}));
  EXPECT_EQ(1, meanOfBlock<int16_t>({0, 1, 1}, {3, 1, 1}));
  EXPECT_EQ(0, meanOfBlock<int16_t>({0, 0, -1}, {3, 1, 1}));
  EXPECT_EQ(-1, meanOfBlock<int16_t>({0, -1, -1}, {3, 1, 1}));
  EXPECT_EQ(-7, meanOfBlock<int32_t>({-7, -7, -8}, {1, 3, 1}));
  EXPECT_EQ(-8, meanOfBlock<int32_t>({-7, -8, -8}, {1, 1, 3}));
}

// ---- limits of each type ----

// Blocks of the extremes of each type keep them; halves of neighbouring
// values round to even; equal numbers of each signed extreme average to -0.5,
// which rounds to 0.
TEST(DownSampleLimits, ExtremesDoNotOverflow) {
  const int32_t int32Max = std::numeric_limits<int32_t>::max(), int32Min = std::numeric_limits<int32_t>::min();
  for (Factors f : {kHalving, Factors{4, 4, 4}, Factors{2, 1, 1}, Factors{3, 1, 1}}) {
    SCOPED_TRACE(describe({1, 1, 1}, f, 1));
    const unsigned long count = f.fx * f.fy * f.fz;
    EXPECT_EQ(255, meanOfBlock<uint8_t>(repeated<uint8_t>(255, count), f));
    EXPECT_EQ(65535, meanOfBlock<uint16_t>(repeated<uint16_t>(65535, count), f));
    EXPECT_EQ(int32Max, meanOfBlock<int32_t>(repeated(int32Max, count), f));
    EXPECT_EQ(int32Min, meanOfBlock<int32_t>(repeated(int32Min, count), f));
    EXPECT_EQ(int16_t(32767), meanOfBlock<int16_t>(repeated<int16_t>(32767, count), f));
    EXPECT_EQ(int16_t(-32768), meanOfBlock<int16_t>(repeated<int16_t>(-32768, count), f));
    if (count % 2) continue;
    EXPECT_EQ(254, meanOfBlock<uint8_t>(halfAndHalf<uint8_t>(254, 255, count), f));
    EXPECT_EQ(65534, meanOfBlock<uint16_t>(halfAndHalf<uint16_t>(65534, 65535, count), f));
  }
  EXPECT_EQ(0, meanOfBlock<int32_t>(halfAndHalf(int32Max, int32Min, 8), kHalving));
  EXPECT_EQ(0, meanOfBlock<int32_t>(halfAndHalf(int32Max, int32Min, 4), {2, 2, 1}));
  EXPECT_EQ(0, meanOfBlock<int16_t>(halfAndHalf<int16_t>(32767, -32768, 8), kHalving));
}

// ---- floating point ----

// Summed in float, 1e8 swallows the ones next to it and the block's mean
// comes out as 0 instead of 0.75.
TEST(DownSampleFloatingPoint, FloatSumsAreKeptInDoublePrecision) {
  EXPECT_FLOAT_EQ(0.75f, meanOfBlock<float>({1e8f, -1e8f, 1, 1, 1, 1, 1, 1}, kHalving));
  EXPECT_FLOAT_EQ(0.75f, meanOfBlock<float>({1e8f, 1, 1, 1, -1e8f, 1, 1, 1}, kHalving));
  EXPECT_FLOAT_EQ(1.0f / 3, meanOfBlock<float>({1e8f, 1, -1e8f}, {3, 1, 1}));
}

TEST(DownSampleFloatingPoint, MeansAreNotRoundedToIntegers) {
  EXPECT_DOUBLE_EQ(4.5, meanOfBlock<double>({1, 2, 3, 4, 5, 6, 7, 8}, kHalving));
  EXPECT_DOUBLE_EQ(-0.125, meanOfBlock<double>({-1, 0, 0, 0, 0, 0, 0, 0}, kHalving));
  EXPECT_FLOAT_EQ(2.0f / 3, meanOfBlock<float>({0, 1, 1}, {1, 3, 1}));
  EXPECT_DOUBLE_EQ(0.1, meanOfBlock<double>({0.1, 0.1}, {2, 1, 1}));
}

}  // namespace
