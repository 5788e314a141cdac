#include "host/objects/UxExternalData.h"

#include <cstring>

#include "host/types/TbTypeInfo.h"

namespace {
// The host's own types are known from the start, so a script can name them
// before anything has made an object of them. This makes the whole chain.
TbTypeInfo* const externalDataType = UxExternalData::getClassTypeId();
}  // namespace

UxExternalData::BlockRequest::BlockRequest()
    : data(nullptr),
      bufferOrigin{0, 0, 0},
      bufferSize{0, 0, 0},
      bufferSpare{0, 0, 0},
      origin{0, 0, 0},
      size{0, 0, 0},
      boxSpare{0, 0, 0},
      subsampling{1, 1, 1},
      spare(0) {}

UxExternalData::BlockRequest::~BlockRequest() = default;

UxExternalData::UxExternalData(const int* latticeDims, int numDataVar, TbPrimType type)
    : dims{latticeDims[0], latticeDims[1], latticeDims[2]}, nDataVar(numDataVar), primType(type) {}

UxExternalData::~UxExternalData() = default;

TbTypeInfo* UxExternalData::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxExternalData::getClassTypeId() {
  static TbTypeInfo* const record =
      new TbTypeInfo("UxExternalData", nullptr, UxData::getClassTypeId());
  return record;
}

int UxExternalData::getBlock(const BlockRequest*) { return 0; }

int UxExternalData::isWritable() { return 0; }

int UxExternalData::putBlock(const BlockRequest*) { return 0; }

int UxExternalData::getNumTimeSteps() { return 1; }

double UxExternalData::getPhysicalTime(int timeStep) { return timeStep; }

bool UxExternalData::canSaveParameters() const { return false; }

int UxExternalData::saveParameters(const UxParamBundle&) { return 0; }

void UxExternalData::clear() {}

void UxExternalData::getDims(int* out) const { std::memcpy(out, dims, sizeof dims); }
