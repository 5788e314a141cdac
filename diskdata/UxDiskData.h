#pragma once
// UxDiskData: the host's view of a disk-data set, an out-of-core 3-D uniform
// lattice held in a block file set with coarser levels.
//
// Contract on failure: create returns null and leaves no block file of the new
// set behind (an existing description file is never touched without the
// overwrite question being answered "Yes"); readKorinMesh returns 0 and leaves
// nothing behind. Block requests return 0; a request with a bad subsampling is
// reported on standard output and touches nothing. A writable object whose
// valid flags changed stores them when it is destroyed, so coarse levels are
// never taken for current after a reopen.
#include "blockstore/LatticeManager.h"
#include "host/base/TbFilename.h"
#include "host/objects/UxExternalData.h"
#include "package/PackageExport.h"

class KorinMesh;
class TbTypeInfo;
class UxParamBundle;

class UXDD_API UxDiskData : public UxExternalData {
 public:
  // The block extent of every set the package creates.
  static const int kBlocking[3];
  // The bounding box of a set made without one: -1 to 1 on every axis.
  static const float kDefaultBox[6];

  UxDiskData(const int* dims, int nDataVar, TbPrimType primType, LatticeManager* latticeManager);
  ~UxDiskData() override;

  static TbTypeInfo* getClassTypeId();
  static void initClass();
  TbTypeInfo* getTypeId() const override;
  int parse(Tcl_Interp* interp, int argc, char** argv) override;
  void getBoundingBox(float* box) const override;
  int getBlock(const BlockRequest* request) override;
  int isWritable() override;
  int putBlock(const BlockRequest* request) override;
  bool canSaveParameters() const override;
  int saveParameters(const UxParamBundle& params) override;
  void clear() override;

  static UxDiskData* create(const char* filename, const char* dataFilePath, const int* dims,
                            int nDataVar, TbPrimType primType, const float* bbox);
  void updateAllLevels();
  // The levels over the first `slices` level-0 slices only (an interrupted conversion).
  void updateLevelsOver(int slices);

  int saveDescription(const char* path, const UxParamBundle* extra);
  static int readKorinMesh(KorinMesh* mesh, const char* path);

  LatticeManager* latticeManager;
  float boundingBox[6];
  TbFilename dataFilePath;
  TbFilename filename;
};

extern "C" UXDD_API UxDiskData* UxDiskData__create_uxlattice(int nDataVar, const char* dataType,
                                                             int nDims, const int* dims,
                                                             const float* bbox,
                                                             const char* latticeType);
