#pragma once
// UxLdaData: an OME-Zarr 0.4 image (an lda store, or one written by another
// tool) as a host data object that serves boxes on request.
//
// getBlock serves a box at any power-of-two subsampling (per axis) from the
// coarsest stored level that is not coarser than asked, reducing further in
// memory by the mean of each cell, as disk data does; samples beyond the
// volume read as the store's fill value. It answers 0 for a subsampling that
// is not a power of two, a box outside its buffer, or a chunk that cannot be
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
  int chooseLevel(const int* shifts) const;
  bool readReduced(int level, const int* origin, const int* size, const int* factorShift,
                   unsigned char* out);

  std::unique_ptr<LdaStore> store;
};
