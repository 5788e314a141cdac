#include "host/objects/UxBase.h"

#include "host/types/TbTypeInfo.h"

UxBase::UxBase() = default;

UxBase::~UxBase() = default;

TbTypeInfo* UxBase::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* UxBase::getClassTypeId() {
  static TbTypeInfo* const record =
      new TbTypeInfo("UxBase", nullptr, TbTypedObject::getClassTypeId());
  return record;
}

void UxBase::unref() {
  if (--refCount <= 0) delete this;
}
