#include "convert/UxConvertToDiskData.h"

#include <Inventor/SbString.h>
#include <Inventor/SoType.h>
#include <Inventor/lists/SoTypeList.h>

#include "convert/ChannelOption.h"
#include "convert/OutputFileType.h"
#include "host/codecs/SoDataCompressor.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/types/TbTypeInfo.h"
#include "host/packages/UxResource.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const char* const kTileSizes[] = {"32", "64", "128", "256"};
const char* const kSamplingTypes[] = {"Sharp", "Average"};

TbTypeInfo* const converterType = UxConvertToDiskData::getClassTypeId();
}  // namespace

UxConvertToDiskData::UxConvertToDiskData()
    : UxModule(nullptr),
      inputs(this, "inputs", UxPortFilename::MULTI_FILE),
      output(this, "output", UxPortFilename::ANY_FILE),
      tileSize(this, "tileSize", 4),
      borderSize(this, "borderSize", 1),
      compression(this, "compression", 1),
      samplingType(this, "samplingType", 2),
      doIt(this, "doIt", 1),
      rawPrimType(0),
      rawNDataVar(-1) {
  moduleFlags &= ~UxModule::TAKES_DATA_CONNECTION;
  portData.hideMaskIncrease();
  offerOutputFileType(output, false);
  output.setLabelWidth(70);
  inputs.setLabelWidth(70);
  doIt.setLabel(0, "CreateDiskData");
  for (int a = 0; a < 3; ++a) rawDims[a] = 0;
  for (int i = 0; i < 6; ++i) rawBox[i] = 0;
  convertMethod = CHANNEL_FIRST;
  infoOnly = false;
  force311Format = false;
  for (int i = 0; i < 4; ++i) tileSize.setLabel(0, i, kTileSizes[i]);
  tileSize.setIndex(2);
  for (int i = 0; i < 2; ++i) samplingType.setLabel(0, i, kSamplingTypes[i]);
  samplingType.setIndex(1);
  borderSize.setValue(0, 3.0f);
  getRegisteredCompressorsNames();
  compression.setNum(0, compressorNames.size() + 1);
  compression.setLabel(0, 0, "None");
  compression.setIndex(1);
  for (int i = 0; i < compressorNames.size(); ++i)
    compression.setLabel(0, i + 1, compressorNames[i].getString());
}

UxConvertToDiskData::~UxConvertToDiskData() = default;

TbTypeInfo* UxConvertToDiskData::getClassTypeId() {
  static TbTypeInfo type("UxConvertToDiskData", &UxConvertToDiskData::createInstance,
                         UxModule::getClassTypeId());
  return &type;
}

void UxConvertToDiskData::initClass() { getClassTypeId(); }

TbTypedObject* UxConvertToDiskData::createInstance() { return new UxConvertToDiskData; }

TbTypeInfo* UxConvertToDiskData::getTypeId() const { return getClassTypeId(); }

void UxConvertToDiskData::getRegisteredCompressorsNames() {
  SoTypeList types;
  SoType::getAllDerivedFrom(SoDataCompressor::getClassTypeId(), types);
  for (int i = 0; i < types.getLength(); ++i) {
    if (types[i] == SoDataCompressor::getClassTypeId()) continue;
    auto* compressor = static_cast<SoDataCompressor*>(types[i].createInstance());
    if (!compressor) continue;
    SbString name = compressor->getCompressorName();
    compressorNames.append(TbString(name.getString()));
    delete compressor;
  }
}

void UxConvertToDiskData::compute() {
  if (output.hasNewValue()) {
    TbFilename name(output.getFilename(0));
    name.removeExtension();
    if (!name.isEmpty()) {
      name += force311Format ? ".km" : ".lda";
      output.setFilename(name.getString(), nullptr);
    }
  }
  if (doIt.wasHit(0) && convertToDiskData(0, nullptr) > 0)
    UxResource::loadData(output.getFilename(0), false);
}
