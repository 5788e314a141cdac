#include "host/formats/UxBrixConverter.h"

#include "host/console/UxMessage.h"

namespace {

int notAvailable(const TbDArray<const char*>&, const TbFilename&, const TbBox3f&, const TbVec3i&,
                 const TbPrimType&, bool, int, int, bool, bool, int, int, int, const char*) {
  UxMessage::getTheMsg()->printf("tiled conversion is not available in this host");
  return 0;
}

UxBrixConverter::Implementation& current() {
  static UxBrixConverter::Implementation implementation = notAvailable;
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
  current() = implementation ? implementation : notAvailable;
}
