// The peer of the raw conversion benchmark: the same raw uint16 volume read in
// slabs of 64 slices and written with the HDF5 C API into a chunked dataset
// (64^3 chunks, no filters), building no coarser levels.
//   hdf5_chunked_write INPUT.raw NX NY NZ OUTPUT.h5
#include <hdf5.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: hdf5_chunked_write INPUT.raw NX NY NZ OUTPUT.h5\n");
    return 2;
  }
  const hsize_t nx = std::strtoull(argv[2], nullptr, 10), ny = std::strtoull(argv[3], nullptr, 10),
                nz = std::strtoull(argv[4], nullptr, 10);
  std::FILE* input = std::fopen(argv[1], "rb");
  if (!input) return 1;
  const hid_t file = H5Fcreate(argv[5], H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  const hsize_t dims[3] = {nz, ny, nx}, chunk[3] = {64, 64, 64};
  const hid_t space = H5Screate_simple(3, dims, nullptr);
  const hid_t properties = H5Pcreate(H5P_DATASET_CREATE);
  H5Pset_chunk(properties, 3, chunk);
  const hid_t dataset = H5Dcreate2(file, "volume", H5T_NATIVE_UINT16, space, H5P_DEFAULT, properties, H5P_DEFAULT);
  std::vector<uint16_t> slab(64 * ny * nx);
  int status = 0;
  for (hsize_t z = 0; z < nz && status == 0; z += 64) {
    const hsize_t n = nz - z < 64 ? nz - z : 64;
    if (std::fread(slab.data(), 2, n * ny * nx, input) != n * ny * nx) status = 1;
    const hsize_t start[3] = {z, 0, 0}, count[3] = {n, ny, nx};
    const hid_t inFile = H5Dget_space(dataset);
    H5Sselect_hyperslab(inFile, H5S_SELECT_SET, start, nullptr, count, nullptr);
    const hid_t inMemory = H5Screate_simple(3, count, nullptr);
    if (status == 0 && H5Dwrite(dataset, H5T_NATIVE_UINT16, inMemory, inFile, H5P_DEFAULT, slab.data()) < 0) status = 1;
    H5Sclose(inMemory);
    H5Sclose(inFile);
  }
  H5Dclose(dataset);
  H5Pclose(properties);
  H5Sclose(space);
  if (H5Fclose(file) < 0) status = 1;
  std::fclose(input);
  return status;
}
