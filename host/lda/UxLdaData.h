#pragma once
// UxLdaData: an OME-Zarr image (an lda store, or one written by another
// tool) as a host data object that serves boxes on request.
//
// getBlock serves a box at any power-of-two subsampling (per axis) from the
// best stored level for it: the coarsest whose factors divide the
// subsampling and that holds every sample the box needs (a level of floor
// sizes lacks the last sample of an odd axis: the box then comes from a finer
// level). Any further reduction happens in memory, a halving at a time, by
// the store's own rule: for averaged stores the mean of the samples of each
// cell that lie in the volume (rounded half to even, as the levels are
// built), so a box reads the same whether its level is stored or not; for
// stores that pick samples, the first of each cell. Missing chunks inside the
// volume read as the array's fill value; samples beyond the volume read as 0
// and are never part of a mean. getBlock answers 0 for a subsampling that is
// not a power of two, a box outside its buffer, or a chunk that cannot be
// read or decoded (with a console message). The object is read-only:
// putBlock answers 0 and isWritable 0. The bounding box is level 0's extent
// from the image's coordinate transformations (first to last sample).
//
// load opens the store at `path`, makes the object and registers it with the
// host (its name is the folder's name); it answers null after a console
// message (unless quiet) naming the store and what does not fit.
#include <memory>

#include "host/objects/UxExternalData.h"

class LdaStore;

class UxLdaData : public UxExternalData {
 public:
  static UxData* load(const char* path, bool quiet);
  // True for a folder that holds a Zarr group (of any version) or its attributes.
  static bool isStoreFolder(const char* path);

  ~UxLdaData() override;
  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  int getBlock(const BlockRequest* request) override;
  int isWritable() override { return 0; }
  void getBoundingBox(float* box) const override;
  int numStoredLevels() const;

 private:
  explicit UxLdaData(std::unique_ptr<LdaStore> store);
  int chooseLevel(const int* shifts, const int* end) const;
  bool readInside(const int* shifts, const int* origin, const int* size, unsigned char* out);

  std::unique_ptr<LdaStore> store;
};
