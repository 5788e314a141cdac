#include "host/formats/UxBrixConverter.h"

#include "host/lda/LdaConverter.h"

namespace {

UxBrixConverter::Implementation& current() {
  static UxBrixConverter::Implementation implementation = convertToLdaStore;
  return implementation;
}

}  // namespace

int UxBrixConverter::convertToLDA(const TbDArray<const char*>& files, const TbFilename& output,
                                  const TbBox3f& box, const TbVec3i& dims,
                                  const TbPrimType& primType, bool littleEndian,
                                  int convertMethod, int headerBytes, bool doubleToFloat,
                                  bool isRaw, int tileSize, int borderSize, int samplingType,
                                  const char* compressor) {
  return current()(files, output, box, dims, primType, littleEndian, convertMethod, headerBytes,
                   doubleToFloat, isRaw, tileSize, borderSize, samplingType, compressor);
}

void UxBrixConverter::setImplementation(Implementation implementation) {
  current() = implementation ? implementation : convertToLdaStore;
}

void UxBrixConverter::setRawComponents(int nDataVar) { setLdaRawComponents(nDataVar); }
