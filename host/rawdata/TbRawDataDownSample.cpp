#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "host/rawdata/TbRawData.h"

namespace {

// Accumulators live on the stack in tiles of this many elements, so a call never
// allocates whatever the size of the volume.
constexpr unsigned long kTileElements = 512;
// Output samples per fixed-length run of the halving path: long runs for wide
// blocks, short ones for the rest of a row, before a variable-length tail.
constexpr unsigned long kLongRun = 32;
constexpr unsigned long kShortRun = 8;

struct Reduction {
  unsigned long nx, ny, nz;  // input samples per axis
  unsigned long fx, fy, fz;
  unsigned long components;  // interleaved values per sample

  unsigned long outX() const { return nx / fx; }
  unsigned long outY() const { return ny / fy; }
  unsigned long outZ() const { return nz / fz; }
  bool producesNothing() const { return outX() == 0 || outY() == 0 || outZ() == 0; }
  bool isCopy() const { return fx == 1 && fy == 1 && fz == 1; }
  bool isHalving() const { return fx == 2 && fy == 2 && fz == 2; }
  unsigned long inputRowElements() const { return nx * components; }
  unsigned long outputRowElements() const { return outX() * components; }
  // The factors cannot overflow here: a non-empty output means each factor is
  // at most its axis length, so the product is at most the input sample count.
  unsigned long blockSamples() const { return fx * fy * fz; }
  template <typename T>
  const T* inputRow(const T* volume, unsigned long y, unsigned long z) const {
    return volume + (z * ny + y) * inputRowElements();
  }
};

// ---- halving: the reduction pyramid builds apply to every block ----

// Wide enough for the sum of eight values plus the rounding bias; the 16-bit
// accumulator for bytes lets the compiler pack twice as many lanes per vector.
template <typename T> struct HalvingSum;
template <> struct HalvingSum<uint8_t> { using type = uint16_t; };
template <> struct HalvingSum<int16_t> { using type = int32_t; };
template <> struct HalvingSum<uint16_t> { using type = uint32_t; };
template <> struct HalvingSum<int32_t> { using type = int64_t; };
template <> struct HalvingSum<float> { using type = double; };
template <> struct HalvingSum<double> { using type = double; };

// Branchless round-half-to-even of sum / 8; relies on >> being arithmetic for
// negative sums, which the compilers we support guarantee.
template <typename T, typename Sum>
inline T meanOfEight(Sum sum) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(sum * 0.125);
  } else {
    return static_cast<T>((sum + 3 + ((sum >> 3) & 1)) >> 3);
  }
}

template <typename T, typename Sum>
inline void sumFourRows(Sum* __restrict acc, const T* __restrict a, const T* __restrict b,
                        const T* __restrict c, const T* __restrict d, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) {
    acc[i] = static_cast<Sum>(a[i]) + static_cast<Sum>(b[i]) + static_cast<Sum>(c[i]) +
             static_cast<Sum>(d[i]);
  }
}

// FixedComponents is 0 when the component count is only known at run time;
// fixing the common counts lets the pair loop vectorise.
template <typename T, unsigned long FixedComponents, typename Sum>
inline void meanOfAdjacentPairs(T* __restrict out, const Sum* __restrict acc, unsigned long pairs,
                                unsigned long runtimeComponents) {
  const unsigned long c = FixedComponents ? FixedComponents : runtimeComponents;
  for (unsigned long i = 0; i < pairs; ++i) {
    for (unsigned long v = 0; v < c; ++v) {
      out[i * c + v] = meanOfEight<T>(static_cast<Sum>(acc[2 * i * c + v] + acc[(2 * i + 1) * c + v]));
    }
  }
}

// Reduces output samples [first, first + samples) of one row; they must fit a
// tile. FixedSamples, like FixedComponents, is 0 when only known at run time.
// Fixing both gives the loops a trip count known at compile time, which the
// default optimisation level needs before it vectorises them.
template <typename T, unsigned long FixedComponents, unsigned long FixedSamples>
void halveSpan(T* out, const T* const rows[4], unsigned long first, unsigned long runtimeSamples,
               unsigned long runtimeComponents) {
  using Sum = typename HalvingSum<T>::type;
  const unsigned long c = FixedComponents ? FixedComponents : runtimeComponents;
  const unsigned long samples = FixedSamples ? FixedSamples : runtimeSamples;
  Sum acc[kTileElements];
  const unsigned long in = first * 2 * c;
  sumFourRows(acc, rows[0] + in, rows[1] + in, rows[2] + in, rows[3] + in, samples * 2 * c);
  meanOfAdjacentPairs<T, FixedComponents>(out + first * c, acc, samples, c);
}

// Halves runs of Run samples from first on while whole runs remain; returns
// where it stopped.
template <typename T, unsigned long FixedComponents, unsigned long Run>
unsigned long halveFixedRuns(T* out, const T* const rows[4], unsigned long first,
                             unsigned long outSamples) {
  static_assert(2 * Run * FixedComponents <= kTileElements, "a run must fit one tile");
  for (; first + Run <= outSamples; first += Run) {
    halveSpan<T, FixedComponents, Run>(out, rows, first, Run, FixedComponents);
  }
  return first;
}

template <typename T, unsigned long FixedComponents>
void halveRow(T* out, const T* const rows[4], unsigned long outSamples, unsigned long runtimeComponents) {
  unsigned long first = 0;
  if constexpr (FixedComponents != 0) {
    first = halveFixedRuns<T, FixedComponents, kLongRun>(out, rows, first, outSamples);
    first = halveFixedRuns<T, FixedComponents, kShortRun>(out, rows, first, outSamples);
  }
  const unsigned long c = FixedComponents ? FixedComponents : runtimeComponents;
  const unsigned long samplesPerTile = kTileElements / (2 * c);
  for (; first < outSamples; first += samplesPerTile) {
    halveSpan<T, FixedComponents, 0>(out, rows, first, std::min(samplesPerTile, outSamples - first), c);
  }
}

template <typename T, unsigned long FixedComponents>
void halveVolume(T* dst, const T* src, const Reduction& r) {
  const unsigned long outRow = r.outputRowElements();
  for (unsigned long z = 0; z < r.outZ(); ++z) {
    for (unsigned long y = 0; y < r.outY(); ++y) {
      const T* rows[4];
      for (unsigned long i = 0; i < 4; ++i) {
        rows[i] = r.inputRow(src, 2 * y + (i & 1), 2 * z + (i >> 1));
      }
      halveRow<T, FixedComponents>(dst + (z * r.outY() + y) * outRow, rows, r.outX(), r.components);
    }
  }
}

template <typename T>
void halveVolumeDispatch(T* dst, const T* src, const Reduction& r) {
  switch (r.components) {
    case 1: halveVolume<T, 1>(dst, src, r); break;
    case 2: halveVolume<T, 2>(dst, src, r); break;
    case 3: halveVolume<T, 3>(dst, src, r); break;
    case 4: halveVolume<T, 4>(dst, src, r); break;
    default: halveVolume<T, 0>(dst, src, r); break;
  }
}

// ---- any other factors ----

template <typename T>
using GeneralSum = std::conditional_t<std::is_floating_point_v<T>, double, int64_t>;

// Mean rounded to nearest, ties to even, for any sign of the sum.
inline int64_t roundedMean(int64_t sum, int64_t count) {
  int64_t quotient = sum / count;
  int64_t remainder = sum % count;
  if (remainder < 0) {  // make it a floor division
    remainder += count;
    --quotient;
  }
  const int64_t twice = 2 * remainder;
  if (twice > count || (twice == count && (quotient & 1) != 0)) ++quotient;
  return quotient;
}

template <typename T>
inline T meanOf(GeneralSum<T> sum, unsigned long count) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(sum / static_cast<double>(count));
  } else {
    return static_cast<T>(roundedMean(sum, static_cast<int64_t>(count)));
  }
}

// Adds one input row's contribution to the output elements [first, first + count)
// of an output row, where output element e is component e % c of sample e / c.
template <typename T>
void addRowToTile(GeneralSum<T>* __restrict acc, const T* __restrict row, unsigned long first,
                  unsigned long count, const Reduction& r) {
  const unsigned long c = r.components;
  if (r.fx == 1) {
    for (unsigned long e = 0; e < count; ++e) acc[e] += row[first + e];
    return;
  }
  unsigned long sample = first / c;
  unsigned long component = first % c;
  for (unsigned long e = 0; e < count; ++e) {
    const T* p = row + sample * r.fx * c + component;
    GeneralSum<T> sum = 0;
    for (unsigned long dx = 0; dx < r.fx; ++dx) sum += p[dx * c];
    acc[e] += sum;
    if (++component == c) {
      component = 0;
      ++sample;
    }
  }
}

template <typename T>
void reduceTile(T* out, const T* src, unsigned long y, unsigned long z, unsigned long first,
                unsigned long count, const Reduction& r) {
  GeneralSum<T> acc[kTileElements];
  std::fill(acc, acc + count, GeneralSum<T>(0));
  for (unsigned long dz = 0; dz < r.fz; ++dz) {
    for (unsigned long dy = 0; dy < r.fy; ++dy) {
      const T* row = r.inputRow(src, y * r.fy + dy, z * r.fz + dz);
      addRowToTile(acc, row, first, count, r);
    }
  }
  for (unsigned long e = 0; e < count; ++e) out[first + e] = meanOf<T>(acc[e], r.blockSamples());
}

template <typename T>
void reduceGeneral(T* dst, const T* src, const Reduction& r) {
  const unsigned long outRow = r.outputRowElements();
  for (unsigned long z = 0; z < r.outZ(); ++z) {
    for (unsigned long y = 0; y < r.outY(); ++y) {
      T* out = dst + (z * r.outY() + y) * outRow;
      for (unsigned long first = 0; first < outRow; first += kTileElements) {
        reduceTile(out, src, y, z, first, std::min(kTileElements, outRow - first), r);
      }
    }
  }
}

template <typename T>
void reduceTyped(void* destination, const void* source, const Reduction& r) {
  T* dst = static_cast<T*>(destination);
  const T* src = static_cast<const T*>(source);
  // A tile must hold a whole pair of samples for the halving path.
  if (r.isHalving() && 2 * r.components <= kTileElements) {
    halveVolumeDispatch(dst, src, r);
  } else {
    reduceGeneral(dst, src, r);
  }
}

bool reduceByType(void* destination, const void* source, int type, const Reduction& r) {
  switch (type) {
    case TbPrimType::UINT8: reduceTyped<uint8_t>(destination, source, r); return true;
    case TbPrimType::INT16: reduceTyped<int16_t>(destination, source, r); return true;
    case TbPrimType::INT32: reduceTyped<int32_t>(destination, source, r); return true;
    case TbPrimType::FLOAT: reduceTyped<float>(destination, source, r); return true;
    case TbPrimType::DOUBLE: reduceTyped<double>(destination, source, r); return true;
    case TbPrimType::UINT16: reduceTyped<uint16_t>(destination, source, r); return true;
    default: return false;
  }
}

}  // namespace

// A single block reduces far too quickly to be worth reporting, and the pyramid
// code passes no progress object, so progress is not reported.
int TbRawData::downSample3DN(void* destination, TbTypedPointer source, unsigned long nx,
                             unsigned long ny, unsigned long nz, int fx, int fy, int fz,
                             int nDataVar, TbProgressInterface* /*progress*/) {
  const bool refused = !source.primType.isValid() || fx < 1 || fy < 1 || fz < 1 || nDataVar < 1 ||
                       destination == nullptr || source.data == nullptr;
  if (refused) return 0;
  const Reduction r{nx, ny, nz, static_cast<unsigned long>(fx), static_cast<unsigned long>(fy),
                    static_cast<unsigned long>(fz), static_cast<unsigned long>(nDataVar)};
  if (r.producesNothing()) return 1;
  if (r.isCopy()) {
    // memmove, not memcpy: reducing a buffer onto itself is legitimate.
    std::memmove(destination, source.data, nx * ny * nz * r.components * source.primType.size());
    return 1;
  }
  return reduceByType(destination, source.data, source.primType, r) ? 1 : 0;
}
