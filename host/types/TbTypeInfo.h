#pragma once
// TbTypeInfo: the host's run-time type record (name, factory, parent).
//
// Constructing a record enters it in one process-wide registry under its name;
// destroying it takes it out again, so a package's records vanish when the
// package is unloaded. Lookups never fail loudly: fromName answers null for an
// unknown name, createInstance answers null when the record has no factory.
// When two records share a name, fromName finds the one entered first; the
// later one is still listed. The registry itself is never destroyed, so
// records living in static storage may unregister at any time during exit.
class TbTypedObject;
template <class T>
class TbDArray;

typedef TbTypedObject* (*TbFactory)();

class TbTypeInfo {
 public:
  TbTypeInfo(const char* name, TbFactory factory, TbTypeInfo* parent);
  ~TbTypeInfo();
  TbTypeInfo(const TbTypeInfo&) = delete;
  TbTypeInfo& operator=(const TbTypeInfo&) = delete;

  const char* getName() const { return name; }
  TbFactory getFactory() const { return factory; }
  TbTypeInfo* getParent() const { return parent; }

  // True for the record itself and for every record below it.
  bool isDerivedFrom(const TbTypeInfo* ancestor) const;
  TbTypedObject* createInstance() const;

  static TbTypeInfo* fromName(const char* name);
  // Every registered record, in the order of registration.
  static void getAll(TbDArray<TbTypeInfo*>& records);

 private:
  char* name;
  TbFactory factory;
  TbTypeInfo* parent;
};
