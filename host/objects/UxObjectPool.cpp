#include "host/objects/UxObjectPool.h"

#include <cctype>
#include <cstring>

#include "host/objects/UxObject.h"

namespace {

struct NameParts {
  std::string stem;       // without trailing digits
  std::string extension;  // from the last '.', or ""
};

NameParts splitName(const std::string& name) {
  NameParts parts;
  size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) dot = name.size();
  parts.stem = name.substr(0, dot);
  parts.extension = name.substr(dot);
  while (parts.stem.size() > 1 && std::isdigit(static_cast<unsigned char>(parts.stem.back())))
    parts.stem.pop_back();
  return parts;
}

}  // namespace

UxObjectPool* UxObjectPool::getThePool() {
  static UxObjectPool thePool;
  return &thePool;
}

void UxObjectPool::setObserver(Observer* newObserver) { observer = newObserver; }

bool UxObjectPool::isTaken(const std::string& name, const std::string& ownName) const {
  if (!ownName.empty() && name == ownName) return false;
  return indexOf(name.c_str()) >= 0 || (observer && observer->isNameReserved(name.c_str()));
}

std::string UxObjectPool::uniqueNameFor(const char* wantedName, const std::string& ownName) const {
  const std::string wanted = wantedName && *wantedName ? wantedName : "Object";
  if (!isTaken(wanted, ownName)) return wanted;
  const NameParts parts = splitName(wanted);
  for (unsigned long number = 2;; ++number) {
    std::string candidate = parts.stem + std::to_string(number) + parts.extension;
    if (!isTaken(candidate, ownName)) return candidate;
  }
}

std::string UxObjectPool::uniqueName(const char* wantedName) const {
  return uniqueNameFor(wantedName, std::string());
}

const char* UxObjectPool::add(UxObject* object, const char* wantedName) {
  if (!object) return nullptr;
  const int known = indexOf(object);
  if (known >= 0) return entries[known].name.c_str();
  const std::string name = uniqueName(wantedName);
  object->ref();
  object->setLabel(name.c_str());
  entries.push_back(Entry{object, name});
  ++additions;
  if (observer) observer->objectAdded(object, name.c_str());
  return nameOf(object);
}

void UxObjectPool::removeAt(int index) {
  Entry entry = entries[index];
  entries.erase(entries.begin() + index);
  if (observer) observer->objectRemoved(entry.object, entry.name.c_str());
  entry.object->unref();
}

int UxObjectPool::remove(UxObject* object) {
  const int index = indexOf(object);
  if (index < 0) return 0;
  removeAt(index);
  return 1;
}

int UxObjectPool::remove(const char* name) {
  const int index = indexOf(name);
  if (index < 0) return 0;
  removeAt(index);
  return 1;
}

void UxObjectPool::removeAll() {
  while (!entries.empty()) removeAt(static_cast<int>(entries.size()) - 1);
}

const char* UxObjectPool::rename(UxObject* object, const char* wantedName) {
  const int index = indexOf(object);
  if (index < 0) return nullptr;
  const std::string oldName = entries[index].name;
  const std::string newName = uniqueNameFor(wantedName, oldName);
  if (newName == oldName) return entries[index].name.c_str();
  entries[index].name = newName;
  object->setLabel(newName.c_str());
  if (observer) observer->objectRenamed(object, oldName.c_str(), newName.c_str());
  return entries[index].name.c_str();
}

UxObject* UxObjectPool::find(const char* name) const {
  const int index = indexOf(name);
  return index >= 0 ? entries[index].object : nullptr;
}

bool UxObjectPool::contains(const UxObject* object) const { return indexOf(object) >= 0; }

const char* UxObjectPool::nameOf(const UxObject* object) const {
  const int index = indexOf(object);
  return index >= 0 ? entries[index].name.c_str() : nullptr;
}

UxObject* UxObjectPool::get(int index) const {
  return index >= 0 && index < size() ? entries[index].object : nullptr;
}

const char* UxObjectPool::getName(int index) const {
  return index >= 0 && index < size() ? entries[index].name.c_str() : nullptr;
}

UxObject* UxObjectPool::getNewest() const { return entries.empty() ? nullptr : entries.back().object; }

int UxObjectPool::indexOf(const UxObject* object) const {
  for (size_t i = 0; i < entries.size(); ++i)
    if (entries[i].object == object) return static_cast<int>(i);
  return -1;
}

int UxObjectPool::indexOf(const char* name) const {
  if (!name) return -1;
  for (size_t i = 0; i < entries.size(); ++i)
    if (entries[i].name == name) return static_cast<int>(i);
  return -1;
}
