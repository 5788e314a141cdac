#pragma once
// TbVec3i: three ints, such as the dimensions of a lattice. A default vector
// is all zeros. Indexing is unchecked, as for a plain array; nothing fails.
class TbVec3i {
 public:
  TbVec3i() = default;
  TbVec3i(int x, int y, int z) : values{x, y, z} {}

  int& operator[](int i) { return values[i]; }
  const int& operator[](int i) const { return values[i]; }

  int* getValue() { return values; }
  const int* getValue() const { return values; }

  int values[3] = {0, 0, 0};
};
