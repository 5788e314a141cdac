#pragma once
// UxBase: a host object with a label and a reference count.
//
// Holders call ref() when they keep the object and unref() when they let go;
// unref() deletes the object once the count is zero or below. An object that
// nobody ever ref'ed is deleted by a single unref(): that is how a maker
// releases an object it never handed on. Labels are never null ("" when unset).
#include "host/base/TbString.h"
#include "host/types/TbTypedObject.h"

class UxBase : public TbTypedObject {
 public:
  UxBase();
  ~UxBase() override;
  UxBase(const UxBase&) = delete;
  UxBase& operator=(const UxBase&) = delete;

  TbTypeInfo* getTypeId() const override;
  static TbTypeInfo* getClassTypeId();

  const char* getLabel() const { return label.getString(); }

  void ref() { ++refCount; }
  void unref();
  int getRefCount() const { return refCount; }

 protected:
  TbString label;

 private:
  int refCount = 0;
};
