#include "host/images/SlicePreview.h"

#include <QImage>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "host/base/TbMemory.h"
#include "host/objects/UxExternalData.h"

namespace {

// Keeps a slice well inside what one image and one buffer may hold.
constexpr int64_t kMaxSliceBytes = int64_t(1) << 31;

template <typename T>
double elementAt(const unsigned char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return static_cast<double>(value);
}

double componentZero(const unsigned char* sample, TbPrimType type) {
  switch (static_cast<int>(type)) {
    case TbPrimType::UINT8: return elementAt<uint8_t>(sample);
    case TbPrimType::INT16: return elementAt<int16_t>(sample);
    case TbPrimType::INT32: return elementAt<int32_t>(sample);
    case TbPrimType::FLOAT: return elementAt<float>(sample);
    case TbPrimType::DOUBLE: return elementAt<double>(sample);
    case TbPrimType::UINT16: return elementAt<uint16_t>(sample);
    default: return 0.0;
  }
}

struct Window {
  double low = 0.0;
  double high = 0.0;
  bool any = false;
};

Window rangeOf(const std::vector<double>& values) {
  Window window;
  for (double value : values) {
    if (std::isnan(value)) continue;
    window.low = window.any ? std::min(window.low, value) : value;
    window.high = window.any ? std::max(window.high, value) : value;
    window.any = true;
  }
  return window;
}

unsigned char grey(double value, const Window& window) {
  if (std::isnan(value) || !(window.high > window.low)) return 0;
  const double scaled = (value - window.low) / (window.high - window.low) * 255.0;
  return static_cast<unsigned char>(std::lround(std::clamp(scaled, 0.0, 255.0)));
}

}  // namespace

SlicePreview::SlicePreview(UxExternalData& object) : data(object) {}

int SlicePreview::fail(const std::string& text) {
  error = text;
  return 0;
}

int SlicePreview::fetchSlice(int axis, int index, int subsampling, std::vector<double>& values) {
  int dims[3];
  data.getDims(dims);
  UxExternalData::BlockRequest request;
  int64_t samples = 1;
  for (int a = 0; a < 3; ++a) {
    request.origin[a] = a == axis ? index : 0;
    request.size[a] = a == axis ? 1 : std::max(1, dims[a] / subsampling);
    request.bufferOrigin[a] = request.origin[a];
    request.bufferSize[a] = request.size[a];
    request.subsampling[a] = subsampling;
    samples *= request.size[a];
  }
  const int sampleSize = data.getSampleSize();
  if (sampleSize <= 0) return fail("the data has no valid element type");
  if (samples * sampleSize > kMaxSliceBytes) return fail("the slice is too large");
  std::unique_ptr<void, void (*)(void*)> buffer(tbmalloc(samples * sampleSize), tbfree);
  if (!buffer) return fail("cannot allocate the slice");
  request.data = buffer.get();
  if (!data.getBlock(&request)) return fail("getBlock failed");

  const int across = axis == 0 ? 1 : 0;
  const int down = axis == 2 ? 1 : 2;
  columns = request.size[across];
  rows = request.size[down];
  values.assign(static_cast<size_t>(samples), 0.0);
  const auto* bytes = static_cast<const unsigned char*>(buffer.get());
  for (int64_t i = 0; i < samples; ++i)
    values[i] = componentZero(bytes + i * sampleSize, data.getPrimType());
  return 1;
}

int SlicePreview::write(const char* pngPath, int axis, int index, int subsampling) {
  int dims[3];
  data.getDims(dims);
  if (axis < 0 || axis > 2) return fail("bad axis");
  if (index < 0 || index >= dims[axis])
    return fail("index " + std::to_string(index) + " out of range 0.." +
                std::to_string(dims[axis] - 1) + " for axis " + "xyz"[axis]);
  if (subsampling < 1) return fail("bad subsampling " + std::to_string(subsampling));

  std::vector<double> values;
  if (!fetchSlice(axis, index, subsampling, values)) return 0;
  // The slice's samples lie row after row whichever axis is cut, since the
  // cut axis has size 1 in the x-fastest layout.
  const Window window = rangeOf(values);
  QImage image(columns, rows, QImage::Format_Grayscale8);
  if (image.isNull()) return fail("cannot make the image");
  for (int row = 0; row < rows; ++row) {
    uchar* line = image.scanLine(row);
    for (int column = 0; column < columns; ++column)
      line[column] = grey(values[static_cast<size_t>(row) * columns + column], window);
  }
  if (!image.save(QString::fromLocal8Bit(pngPath), "PNG"))
    return fail(std::string("cannot write ") + pngPath);
  return 1;
}
