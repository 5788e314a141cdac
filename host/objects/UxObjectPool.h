#pragma once
// UxObjectPool: the host's objects that a user can address by name.
//
// The pool refs every object it takes and unrefs it when the object leaves.
// Names are unique: a wanted name that is free (and not reserved by the
// observer, e.g. because a Tcl command of that name exists) is used as it is;
// otherwise a number is put before the name's extension, starting at 2 and
// replacing a number already there: "head.km" -> "head2.km" -> "head3.km",
// "Volume" -> "Volume2". An empty wanted name becomes "Object". The object's
// label is set to its name. Calls with a null object or an unknown name do
// nothing and answer null or 0.
#include <string>
#include <vector>

class UxObject;

class UxObjectPool {
 public:
  // Told about every change, e.g. by the shell, which keeps one Tcl command
  // per object. objectRemoved is called while the object is still alive.
  class Observer {
   public:
    virtual ~Observer() = default;
    virtual void objectAdded(UxObject* object, const char* name) = 0;
    virtual void objectRemoved(UxObject* object, const char* name) = 0;
    virtual void objectRenamed(UxObject* object, const char* oldName, const char* newName) = 0;
    virtual bool isNameReserved(const char* name) const = 0;
  };

  static UxObjectPool* getThePool();
  void setObserver(Observer* observer);

  // The object's name in the pool; an object already there keeps its name.
  const char* add(UxObject* object, const char* wantedName);
  int remove(UxObject* object);
  int remove(const char* name);
  // Newest first, so objects made from others go before their sources.
  void removeAll();
  // The new name (the old one when the object is not in the pool: null).
  const char* rename(UxObject* object, const char* wantedName);

  UxObject* find(const char* name) const;
  bool contains(const UxObject* object) const;
  const char* nameOf(const UxObject* object) const;
  int size() const { return static_cast<int>(entries.size()); }
  UxObject* get(int index) const;
  const char* getName(int index) const;

  // Counts every add since the process started; with getNewest() a caller
  // can tell whether some code it ran added an object.
  unsigned long getAdditionCount() const { return additions; }
  UxObject* getNewest() const;

  std::string uniqueName(const char* wantedName) const;

 private:
  struct Entry {
    UxObject* object;
    std::string name;
  };
  int indexOf(const UxObject* object) const;
  int indexOf(const char* name) const;
  // ownName counts as free: an object being renamed may keep its name.
  bool isTaken(const std::string& name, const std::string& ownName) const;
  std::string uniqueNameFor(const char* wantedName, const std::string& ownName) const;
  void removeAt(int index);

  std::vector<Entry> entries;
  Observer* observer = nullptr;
  unsigned long additions = 0;
};
