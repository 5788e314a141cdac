#pragma once
// TbBox3f: an axis-aligned box as six floats, in the host's order xmin, xmax,
// ymin, ymax, zmin, zmax. A default box is all zeros. Indexing is unchecked,
// as for a plain array; nothing here fails.
class TbBox3f {
 public:
  TbBox3f() = default;
  TbBox3f(float xmin, float xmax, float ymin, float ymax, float zmin, float zmax)
      : values{xmin, xmax, ymin, ymax, zmin, zmax} {}

  float& operator[](int i) { return values[i]; }
  const float& operator[](int i) const { return values[i]; }

  // The six floats, for calls that take a plain float* box.
  float* getValue() { return values; }
  const float* getValue() const { return values; }

  float values[6] = {0, 0, 0, 0, 0, 0};
};
