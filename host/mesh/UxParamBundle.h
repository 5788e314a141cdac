#pragma once
// UxParamBundle: an ordered list of named parameters and named sub-bundles.
//
// Entries keep the order they were first added in; names are compared exactly
// and parameters and sub-bundles share one name space, so setting a name that a
// sub-bundle holds replaces that sub-bundle in place (and the other way round).
// A parameter holds a string, a list of ints or a list of reals (kept as double,
// so a float stored and read back is bit-identical; a list set from floats
// remembers it, so that writers can spell its values as floats).
//
// On failure nothing throws and nothing changes: the find calls return 0 and
// leave their outputs untouched when the name is missing, holds another kind of
// value, or holds fewer values than asked for; bundle() returns null for a
// missing name unless asked to create it; set() with a null list and a
// positive count, or a negative count, is ignored; the entry accessors answer
// null/0/-1 for an index out of range or an entry of another kind.
#include <memory>
#include <vector>

class UxParamBundle {
 public:
  enum Kind { STRING = 0, INTS = 1, REALS = 2, BUNDLE = 3 };

  UxParamBundle();
  UxParamBundle(const UxParamBundle& other);
  UxParamBundle& operator=(const UxParamBundle& other);
  virtual ~UxParamBundle();

  // The sub-bundle of that name; appended empty when missing and create != 0.
  UxParamBundle* bundle(const char* name, int create = 0);
  const UxParamBundle* bundle(const char* name) const;

  // Each adds the parameter at the end, or replaces an existing one in place.
  // flags are kept with the parameter for the caller and not interpreted.
  void set(const char* name, const char* value, int flags = 0);
  void set(const char* name, int count, const int* values);
  void set(const char* name, int value);
  void set(const char* name, int count, const float* values);
  void set(const char* name, int count, const double* values);
  void set(const char* name, double value);

  int findString(const char* name, const char*& value) const;
  // Also accepts a real list whose first count values are integers in range.
  int findNum(const char* name, int count, int* values) const;
  // Also accepts an int list.
  int findReal(const char* name, int count, float* values) const;
  int findReal(const char* name, int count, double* values) const;

  // Copies every entry of source here, deeply; same-named entries are
  // replaced in place, the others appended in source order.
  void copy(const UxParamBundle& source);
  // Non-zero when an entry of that name was there.
  int remove(const char* name);
  void clear();

  // Entries (parameters and sub-bundles) in order.
  int size() const;
  int numParameters() const;
  int indexOf(const char* name) const;
  const char* entryName(int index) const;
  Kind entryKind(int index) const;  // -1 cast to Kind for a bad index
  // Number of values: characters are not counted, a string has 1 value,
  // a sub-bundle has as many as its own size().
  int entryCount(int index) const;
  int entryFlags(int index) const;
  const char* entryString(int index) const;
  const int* entryInts(int index) const;
  const double* entryReals(int index) const;
  // True for a real list last set from floats.
  bool entryRealsFromFloats(int index) const;
  UxParamBundle* entryBundle(int index);
  const UxParamBundle* entryBundle(int index) const;

 private:
  struct Entry;
  Entry* find(const char* name) const;
  Entry& slotFor(const char* name);
  void replaceEntry(const Entry& source);

  std::vector<std::unique_ptr<Entry>> entries;
};
