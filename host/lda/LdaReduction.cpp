#include "host/lda/LdaReduction.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace {

// Wide enough for the sum of eight values.
template <class T> struct SumOf { using type = int32_t; };
template <> struct SumOf<int32_t> { using type = int64_t; };
template <> struct SumOf<float> { using type = double; };
template <> struct SumOf<double> { using type = double; };

// The sum over 2^shift values, divided and rounded half to even.
template <class T, class S>
inline T meanOf(S sum, int shift) {
  if (shift == 0) return static_cast<T>(sum);
  const S quotient = sum >> shift;  // floors negative sums too
  const S rest = sum - quotient * (S(1) << shift);
  const S half = S(1) << (shift - 1);
  return static_cast<T>(quotient + ((rest > half) | ((rest == half) & (quotient & 1))));
}
template <>
inline float meanOf<float, double>(double sum, int shift) {
  return static_cast<float>(sum / (1 << shift));
}
template <>
inline double meanOf<double, double>(double sum, int shift) {
  return sum / (1 << shift);
}

// One coarse row from the `R` fine rows of its cells (1, 2 or 4: rows of one
// or two slices, one or two rows each). Single components, the common case,
// get a loop the compiler can unroll and vectorise.
template <class T, int R>
void averageRow(const T* const* rows, T* out, int nx, int nc, int rowShift) {
  using S = typename SumOf<T>::type;
  const int pairs = nx / 2;
  if (nc == 1 && R == 4) {
    const T *a = rows[0], *b = rows[1 % R], *c = rows[2 % R], *d = rows[3 % R];
    for (int ox = 0; ox < pairs; ++ox) {
      const int x = 2 * ox;
      const S sum = ((S(a[x]) + S(a[x + 1])) + (S(b[x]) + S(b[x + 1]))) +
                    ((S(c[x]) + S(c[x + 1])) + (S(d[x]) + S(d[x + 1])));
      out[ox] = meanOf<T, S>(sum, 3);
    }
  }
  for (int ox = 0; nc == 1 && R < 4 && ox < pairs; ++ox) {
    S sum = 0;
    for (int r = 0; r < R; ++r) sum += S(rows[r][2 * ox]) + S(rows[r][2 * ox + 1]);
    out[ox] = meanOf<T, S>(sum, rowShift + 1);
  }
  for (int ox = 0; nc > 1 && ox < pairs; ++ox) {
    const int at = 2 * ox * nc;
    for (int c = 0; c < nc; ++c) {
      S sum = 0;
      for (int r = 0; r < R; ++r) sum += S(rows[r][at + c]) + S(rows[r][at + nc + c]);
      out[ox * nc + c] = meanOf<T, S>(sum, rowShift + 1);
    }
  }
  if (nx % 2 == 0) return;
  const int at = (nx - 1) * nc;
  for (int c = 0; c < nc; ++c) {
    S sum = 0;
    for (int r = 0; r < R; ++r) sum += S(rows[r][at + c]);
    out[pairs * nc + c] = meanOf<T, S>(sum, rowShift);
  }
}

template <class T>
void average(const T* first, const T* second, T* out, int nx, int ny, int nc) {
  const size_t rowLength = static_cast<size_t>(nx) * nc;
  const size_t outRowLength = static_cast<size_t>((nx + 1) / 2) * nc;
  for (int oy = 0; oy < (ny + 1) / 2; ++oy) {
    const T* rows[4];
    int count = 0;
    for (const T* slice : {first, second}) {
      if (!slice) continue;
      rows[count++] = slice + 2 * oy * rowLength;
      if (2 * oy + 1 < ny) rows[count++] = slice + (2 * oy + 1) * rowLength;
    }
    T* outRow = out + oy * outRowLength;
    if (count == 4) averageRow<T, 4>(rows, outRow, nx, nc, 2);
    else if (count == 2) averageRow<T, 2>(rows, outRow, nx, nc, 1);
    else averageRow<T, 1>(rows, outRow, nx, nc, 0);
  }
}

void sharp(const unsigned char* first, unsigned char* out, int nx, int ny, size_t sampleBytes) {
  const size_t rowBytes = nx * sampleBytes;
  for (int oy = 0; oy < (ny + 1) / 2; ++oy) {
    const unsigned char* row = first + 2 * oy * rowBytes;
    for (int ox = 0; ox < (nx + 1) / 2; ++ox, out += sampleBytes)
      std::memcpy(out, row + 2 * ox * sampleBytes, sampleBytes);
  }
}

template <class T>
void averageAs(const void* first, const void* second, void* out, int nx, int ny, int nc) {
  average(static_cast<const T*>(first), static_cast<const T*>(second), static_cast<T*>(out), nx, ny,
          nc);
}

// Any axes halved: each output sample from its cell of 1 to 8 samples.
template <class T>
void halveCells(const T* in, const int* dims, const bool* halve, T* out, int nc, bool nearest) {
  using S = typename SumOf<T>::type;
  int outDims[3], step[3];
  for (int a = 0; a < 3; ++a) {
    step[a] = halve[a] ? 2 : 1;
    outDims[a] = halve[a] ? (dims[a] + 1) / 2 : dims[a];
  }
  for (int oz = 0; oz < outDims[2]; ++oz)
    for (int oy = 0; oy < outDims[1]; ++oy)
      for (int ox = 0; ox < outDims[0]; ++ox, out += nc) {
        const int lo[3] = {ox * step[0], oy * step[1], oz * step[2]};
        int hi[3], shift = 0;
        for (int a = 0; a < 3; ++a) {
          hi[a] = std::min(lo[a] + step[a], dims[a]);
          shift += hi[a] - lo[a] - 1;  // 2 samples along an axis add 1
        }
        for (int c = 0; c < nc; ++c) {
          const auto at = [&](int x, int y, int z) {
            return in[((static_cast<size_t>(z) * dims[1] + y) * dims[0] + x) * nc + c];
          };
          if (nearest) {
            out[c] = at(lo[0], lo[1], lo[2]);
            continue;
          }
          S sum = 0;
          for (int z = lo[2]; z < hi[2]; ++z)
            for (int y = lo[1]; y < hi[1]; ++y)
              for (int x = lo[0]; x < hi[0]; ++x) sum += S(at(x, y, z));
          out[c] = meanOf<T, S>(sum, shift);
        }
      }
}

template <class T>
void halveAs(const void* in, const int* dims, const bool* halve, void* out, int nc, bool nearest) {
  halveCells(static_cast<const T*>(in), dims, halve, static_cast<T*>(out), nc, nearest);
}

}  // namespace

bool halveBox(const void* in, const int* dims, const bool* halve, void* out, int nDataVar, TbPrimType primType,
              int sampling) {
  if (!primType.isValid() || (sampling != LDA_SHARP && sampling != LDA_AVERAGE)) return false;
  const size_t slice = static_cast<size_t>(dims[0]) * dims[1] * nDataVar * primType.size();
  const size_t outSlice = static_cast<size_t>((dims[0] + 1) / 2) * ((dims[1] + 1) / 2) * nDataVar * primType.size();
  if (halve[0] && halve[1]) {  // whole slices, as the levels are built
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    for (int z = 0; z < dims[2]; z += halve[2] ? 2 : 1, to += outSlice) {
      const unsigned char* second = halve[2] && z + 1 < dims[2] ? from + (z + 1) * slice : nullptr;
      reduceSlices(from + z * slice, second, to, dims[0], dims[1], nDataVar, primType, sampling);
    }
    return true;
  }
  const bool nearest = sampling == LDA_SHARP;
  switch (primType) {
    case TbPrimType::UINT8: halveAs<uint8_t>(in, dims, halve, out, nDataVar, nearest); break;
    case TbPrimType::INT16: halveAs<int16_t>(in, dims, halve, out, nDataVar, nearest); break;
    case TbPrimType::UINT16: halveAs<uint16_t>(in, dims, halve, out, nDataVar, nearest); break;
    case TbPrimType::INT32: halveAs<int32_t>(in, dims, halve, out, nDataVar, nearest); break;
    case TbPrimType::FLOAT: halveAs<float>(in, dims, halve, out, nDataVar, nearest); break;
    default: halveAs<double>(in, dims, halve, out, nDataVar, nearest); break;
  }
  return true;
}

bool reduceSlices(const void* first, const void* second, void* out, int nx, int ny, int nDataVar,
                  TbPrimType primType, int sampling) {
  if (!primType.isValid() || (sampling != LDA_SHARP && sampling != LDA_AVERAGE)) return false;
  if (sampling == LDA_SHARP) {
    sharp(static_cast<const unsigned char*>(first), static_cast<unsigned char*>(out), nx, ny,
          static_cast<size_t>(nDataVar) * primType.size());
    return true;
  }
  switch (primType) {
    case TbPrimType::UINT8: averageAs<uint8_t>(first, second, out, nx, ny, nDataVar); break;
    case TbPrimType::INT16: averageAs<int16_t>(first, second, out, nx, ny, nDataVar); break;
    case TbPrimType::UINT16: averageAs<uint16_t>(first, second, out, nx, ny, nDataVar); break;
    case TbPrimType::INT32: averageAs<int32_t>(first, second, out, nx, ny, nDataVar); break;
    case TbPrimType::FLOAT: averageAs<float>(first, second, out, nx, ny, nDataVar); break;
    case TbPrimType::DOUBLE: averageAs<double>(first, second, out, nx, ny, nDataVar); break;
    default: return false;
  }
  return true;
}
