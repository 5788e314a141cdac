#pragma once
// UxBrixConverter: the host's converter of volumes into its tiled large-data
// format.
//
// convertToLDA hands its arguments to the installed implementation and
// returns what that returns: 1 when the output was written, 0 on failure
// (after a console message), -1 when cancelled. The default implementation
// writes an lda store, a compressed multi-resolution OME-Zarr image
// (host/lda/LdaConverter.h says what it promises). kInputRefused (2) means
// the input does not match its description (a raw file of another size than
// described): the caller should not convert it some other way. setImplementation
// installs another one (a test's double); null puts the default back.
//
// The raw description that convertToLDA's arguments carry has no component
// count; setRawComponents gives it beforehand, for the next conversion only
// (1 unless given), so that the files are checked against the whole
// description instead of a count guessed from their size.
#include "host/base/TbBox3f.h"
#include "host/base/TbDArray.h"
#include "host/base/TbFilename.h"
#include "host/base/TbPrimType.h"
#include "host/base/TbVec3i.h"

class UxBrixConverter {
 public:
  static const int kInputRefused = 2;

  static int convertToLDA(const TbDArray<const char*>& files, const TbFilename& output,
                          const TbBox3f& box, const TbVec3i& dims, const TbPrimType& primType,
                          bool littleEndian, int convertMethod, int headerBytes,
                          bool doubleToFloat, bool isRaw, int tileSize, int borderSize,
                          int samplingType, const char* compressor);

  using Implementation = int (*)(const TbDArray<const char*>& files, const TbFilename& output,
                                 const TbBox3f& box, const TbVec3i& dims,
                                 const TbPrimType& primType, bool littleEndian,
                                 int convertMethod, int headerBytes, bool doubleToFloat,
                                 bool isRaw, int tileSize, int borderSize, int samplingType,
                                 const char* compressor);
  static void setImplementation(Implementation implementation);
  static void setRawComponents(int nDataVar);
};
