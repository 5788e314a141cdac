#pragma once
// SlicePreview: the host's quick look at a lattice: one axis-aligned slice as
// a grey PNG.
//
// write() asks the object for the slice with a single getBlock request at the
// given subsampling on all three axes, takes component 0 of every sample,
// stretches the slice's own min..max to 0..255 (a constant slice comes out
// black; NaNs are black and ignored for the range) and saves the image. The
// image's first row is the slice's lowest row. write() returns 1, or 0 with
// the reason in errorText(); it prints nothing and leaves no partial file
// behind other than what the image writer leaves.
#include <cstdint>
#include <string>
#include <vector>

class UxExternalData;

class SlicePreview {
 public:
  explicit SlicePreview(UxExternalData& data);

  // axis: 0 x, 1 y, 2 z; index in full-resolution samples along that axis.
  int write(const char* pngPath, int axis, int index, int subsampling);

  const std::string& errorText() const { return error; }
  int width() const { return columns; }
  int height() const { return rows; }

 private:
  int fetchSlice(int axis, int index, int subsampling, std::vector<double>& values);
  int fail(const std::string& text);

  UxExternalData& data;
  std::string error;
  int columns = 0;
  int rows = 0;
};
