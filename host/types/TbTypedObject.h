#pragma once
// TbTypedObject: the root of the host's classes that know their own type.
//
// Every class below it has a static getClassTypeId(), whose record is made on
// the first call, and overrides getTypeId() to return it. The host's records
// have no factory; they live for the whole process.
class TbTypeInfo;

class TbTypedObject {
 public:
  virtual TbTypeInfo* getTypeId() const;
  virtual ~TbTypedObject();

  static TbTypeInfo* getClassTypeId();
  bool isOfType(const TbTypeInfo* type) const;
};
