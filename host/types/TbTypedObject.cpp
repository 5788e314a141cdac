#include "host/types/TbTypedObject.h"

#include "host/types/TbTypeInfo.h"

TbTypedObject::~TbTypedObject() = default;

TbTypeInfo* TbTypedObject::getTypeId() const { return getClassTypeId(); }

TbTypeInfo* TbTypedObject::getClassTypeId() {
  static TbTypeInfo* const record = new TbTypeInfo("TbTypedObject", nullptr, nullptr);
  return record;
}

bool TbTypedObject::isOfType(const TbTypeInfo* type) const {
  const TbTypeInfo* own = getTypeId();
  return own && own->isDerivedFrom(type);
}
