#pragma once
// SoRegisteredCompressor: what every codec shares with the Open Inventor type
// system. A codec derives from SoRegisteredCompressor<Codec> and names its
// type in `static constexpr const char* typeName`; the template gives it the
// type record (registered under the base on first use, never twice, never
// badType), initClass (base first, then the codec), the create function the
// type system calls, and getTypeId.
#include "host/codecs/SoDataCompressor.h"

template <class Codec>
class SoRegisteredCompressor : public SoDataCompressor {
 public:
  static SoType getClassTypeId() {
    static const SoType type =
        SoType::createType(SoDataCompressor::getClassTypeId(), SbName(Codec::typeName), &createInstance);
    return type;
  }
  static void initClass() {
    SoDataCompressor::initClass();
    (void)getClassTypeId();
  }
  static void* createInstance() { return new Codec; }

  SoType getTypeId() const override { return getClassTypeId(); }
};
