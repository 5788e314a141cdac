#pragma once
// UxConvertToDiskData: the module that converts raw volumes, image stacks and
// KorinMesh volumes into a disk-data set, or through the host's tiled converter
// into its large-data format. Driven by its ports and button or by its command
// convertToDiskData.
//
// Conversions return 1 on success, 0 on failure (a message has been printed on
// the console), -1 when the user cancelled. A failed conversion may leave a
// partly written disk-data set behind, but never destroys an existing file
// without the overwrite question being answered.
#include <cstdint>

#include "host/base/TbBox3f.h"
#include "host/base/TbDArray.h"
#include "host/base/TbFilename.h"
#include "host/base/TbPrimType.h"
#include "host/base/TbString.h"
#include "host/base/TbVec3i.h"
#include "host/modules/UxModule.h"
#include "host/modules/UxPortButtonList.h"
#include "host/modules/UxPortFilename.h"
#include "host/modules/UxPortFloatTextN.h"
#include "host/modules/UxPortIntTextN.h"
#include "host/modules/UxPortMultiMenu.h"
#include "package/PackageExport.h"

class TbTypeInfo;
class TbTypedObject;

class UXDD_API UxConvertToDiskData : public UxModule {
 public:
  UxConvertToDiskData();
  ~UxConvertToDiskData() override;

  static TbTypeInfo* getClassTypeId();
  static void initClass();
  static TbTypedObject* createInstance();
  TbTypeInfo* getTypeId() const override;
  int parse(Tcl_Interp* interp, int argc, char** argv) override;
  void compute() override;

  void getRegisteredCompressorsNames();
  int convertToDiskData(int argc, char** argv);

  // Raw input.
  bool getRawSpecs(TbDArray<char*>& files, int argc, char** argv, int& numFiles, TbVec3i& dims,
                   TbPrimType& primType, int& nDataVar, int& littleEndian, int& headerBytes,
                   TbBox3f& bbox, bool& askDialog);
  bool requestRawDialog(TbDArray<char*>& files, int numFiles, TbVec3i& dims, TbPrimType& primType,
                        int& nDataVar, int& littleEndian, int& headerBytes, TbBox3f& bbox);
  bool getRawInformation(TbDArray<char*>& files, int argc, char** argv, int numFiles,
                         int& littleEndian, int& headerBytes, bool& toLda, bool& doubleToFloat);
  int readerRaw2UxDiskData(TbDArray<char*> files, const char* outName, int argc, char** argv);
  int convertRaw(TbDArray<char*> files, const char* outName, const int* dims, int nDataVar,
                 int littleEndian, int64_t headerOffset, const float* bbox, TbPrimType primType);

  // Image stacks and KorinMesh volumes.
  int readerImg2UxDiskData(TbDArray<char*> files, const char* outName, int argc, char** argv);
  int readerKorinMesh2UxDiskData(TbDArray<char*> files, const char* outName, int argc, char** argv);

  UxPortFilename inputs;
  UxPortFilename output;
  UxPortMultiMenu tileSize;
  UxPortIntTextN borderSize;
  UxPortMultiMenu compression;
  UxPortMultiMenu samplingType;
  UxPortDoIt doIt;

  TbBox3f rawBox;
  TbVec3i rawDims;
  TbPrimType rawPrimType;
  int convertMethod;
  bool infoOnly;
  bool force311Format;
  TbDArray<TbString> compressorNames;

  // Set by the driver while the image reader is to convert with the box and
  // channel option an earlier description left in rawBox and convertMethod.
  bool reuseImageDescription = false;
  // The component count of the last raw description, so a conversion after
  // the tiled path was refused needs no second dialog; -1 when unknown.
  int rawNDataVar;
};
