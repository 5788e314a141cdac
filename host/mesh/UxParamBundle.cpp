#include "host/mesh/UxParamBundle.h"

#include <cmath>
#include <climits>
#include <string>

struct UxParamBundle::Entry {
  std::string name;
  Kind kind = STRING;
  int flags = 0;
  std::string text;
  std::vector<int> ints;
  std::vector<double> reals;
  bool realsFromFloats = false;
  std::unique_ptr<UxParamBundle> bundle;

  Entry() = default;
  Entry(const Entry& other)
      : name(other.name), kind(other.kind), flags(other.flags), text(other.text),
        ints(other.ints), reals(other.reals), realsFromFloats(other.realsFromFloats),
        bundle(other.bundle ? new UxParamBundle(*other.bundle) : nullptr) {}
  Entry& operator=(Entry&& other) = default;

  // Makes this slot hold a value of the given kind only, so stale values of a
  // previous kind never leak through the accessors.
  void reset(Kind newKind) {
    kind = newKind;
    flags = 0;
    text.clear();
    ints.clear();
    reals.clear();
    realsFromFloats = false;
    bundle.reset();
  }
};

UxParamBundle::UxParamBundle() = default;

UxParamBundle::UxParamBundle(const UxParamBundle& other) { copy(other); }

UxParamBundle& UxParamBundle::operator=(const UxParamBundle& other) {
  if (this == &other) return *this;
  UxParamBundle snapshot(other);  // other may live inside this bundle
  entries.swap(snapshot.entries);
  return *this;
}

UxParamBundle::~UxParamBundle() = default;

UxParamBundle::Entry* UxParamBundle::find(const char* name) const {
  if (!name) return nullptr;
  for (const auto& entry : entries)
    if (entry->name == name) return entry.get();
  return nullptr;
}

UxParamBundle::Entry& UxParamBundle::slotFor(const char* name) {
  if (Entry* existing = find(name)) return *existing;
  entries.emplace_back(new Entry);
  entries.back()->name = name;
  return *entries.back();
}

UxParamBundle* UxParamBundle::bundle(const char* name, int create) {
  Entry* entry = find(name);
  if (entry && entry->kind == BUNDLE) return entry->bundle.get();
  if (!create || !name) return nullptr;
  Entry& slot = slotFor(name);
  slot.reset(BUNDLE);
  slot.bundle.reset(new UxParamBundle);
  return slot.bundle.get();
}

const UxParamBundle* UxParamBundle::bundle(const char* name) const {
  const Entry* entry = find(name);
  return entry && entry->kind == BUNDLE ? entry->bundle.get() : nullptr;
}

void UxParamBundle::set(const char* name, const char* value, int flags) {
  if (!name) return;
  Entry& slot = slotFor(name);
  slot.reset(STRING);
  slot.text = value ? value : "";
  slot.flags = flags;
}

void UxParamBundle::set(const char* name, int count, const int* values) {
  if (!name || count < 0 || (count > 0 && !values)) return;
  Entry& slot = slotFor(name);
  slot.reset(INTS);
  slot.ints.assign(values, values + count);
}

void UxParamBundle::set(const char* name, int value) { set(name, 1, &value); }

void UxParamBundle::set(const char* name, int count, const float* values) {
  if (!name || count < 0 || (count > 0 && !values)) return;
  Entry& slot = slotFor(name);
  slot.reset(REALS);
  slot.reals.assign(values, values + count);
  slot.realsFromFloats = true;
}

void UxParamBundle::set(const char* name, int count, const double* values) {
  if (!name || count < 0 || (count > 0 && !values)) return;
  Entry& slot = slotFor(name);
  slot.reset(REALS);
  slot.reals.assign(values, values + count);
}

void UxParamBundle::set(const char* name, double value) { set(name, 1, &value); }

int UxParamBundle::findString(const char* name, const char*& value) const {
  const Entry* entry = find(name);
  if (!entry || entry->kind != STRING) return 0;
  value = entry->text.c_str();
  return 1;
}

namespace {

bool isIntegral(double value) {
  return std::isfinite(value) && value == std::floor(value) && value >= INT_MIN &&
         value <= INT_MAX;
}

}  // namespace

int UxParamBundle::findNum(const char* name, int count, int* values) const {
  const Entry* entry = find(name);
  if (!entry || count < 0 || (count > 0 && !values)) return 0;
  if (entry->kind == INTS) {
    if (static_cast<int>(entry->ints.size()) < count) return 0;
    for (int i = 0; i < count; ++i) values[i] = entry->ints[i];
    return 1;
  }
  if (entry->kind != REALS || static_cast<int>(entry->reals.size()) < count) return 0;
  for (int i = 0; i < count; ++i)
    if (!isIntegral(entry->reals[i])) return 0;
  for (int i = 0; i < count; ++i) values[i] = static_cast<int>(entry->reals[i]);
  return 1;
}

int UxParamBundle::findReal(const char* name, int count, double* values) const {
  const Entry* entry = find(name);
  if (!entry || count < 0 || (count > 0 && !values)) return 0;
  if (entry->kind == INTS && static_cast<int>(entry->ints.size()) >= count) {
    for (int i = 0; i < count; ++i) values[i] = entry->ints[i];
    return 1;
  }
  if (entry->kind == REALS && static_cast<int>(entry->reals.size()) >= count) {
    for (int i = 0; i < count; ++i) values[i] = entry->reals[i];
    return 1;
  }
  return 0;
}

int UxParamBundle::findReal(const char* name, int count, float* values) const {
  if (count < 0 || (count > 0 && !values)) return 0;
  std::vector<double> wide(static_cast<size_t>(count));
  if (!findReal(name, count, wide.data())) return 0;
  for (int i = 0; i < count; ++i) values[i] = static_cast<float>(wide[i]);
  return 1;
}

void UxParamBundle::replaceEntry(const Entry& source) {
  Entry* existing = find(source.name.c_str());
  if (existing)
    *existing = Entry(source);
  else
    entries.emplace_back(new Entry(source));
}

void UxParamBundle::copy(const UxParamBundle& source) {
  if (this == &source) return;
  // A snapshot first: source may be an ancestor of this bundle, which the
  // copy is about to change.
  std::vector<std::unique_ptr<Entry>> snapshot;
  for (const auto& entry : source.entries) snapshot.emplace_back(new Entry(*entry));
  for (const auto& entry : snapshot) replaceEntry(*entry);
}

int UxParamBundle::remove(const char* name) {
  for (auto it = entries.begin(); it != entries.end(); ++it) {
    if (name && (*it)->name == name) {
      entries.erase(it);
      return 1;
    }
  }
  return 0;
}

void UxParamBundle::clear() { entries.clear(); }

int UxParamBundle::size() const { return static_cast<int>(entries.size()); }

int UxParamBundle::numParameters() const {
  int count = 0;
  for (const auto& entry : entries) count += entry->kind != BUNDLE;
  return count;
}

int UxParamBundle::indexOf(const char* name) const {
  for (int i = 0; i < size(); ++i)
    if (name && entries[i]->name == name) return i;
  return -1;
}

const char* UxParamBundle::entryName(int index) const {
  return index >= 0 && index < size() ? entries[index]->name.c_str() : nullptr;
}

UxParamBundle::Kind UxParamBundle::entryKind(int index) const {
  return index >= 0 && index < size() ? entries[index]->kind : static_cast<Kind>(-1);
}

int UxParamBundle::entryCount(int index) const {
  switch (entryKind(index)) {
    case STRING: return 1;
    case INTS: return static_cast<int>(entries[index]->ints.size());
    case REALS: return static_cast<int>(entries[index]->reals.size());
    case BUNDLE: return entries[index]->bundle->size();
  }
  return 0;
}

int UxParamBundle::entryFlags(int index) const {
  return index >= 0 && index < size() ? entries[index]->flags : 0;
}

const char* UxParamBundle::entryString(int index) const {
  return entryKind(index) == STRING ? entries[index]->text.c_str() : nullptr;
}

const int* UxParamBundle::entryInts(int index) const {
  return entryKind(index) == INTS ? entries[index]->ints.data() : nullptr;
}

const double* UxParamBundle::entryReals(int index) const {
  return entryKind(index) == REALS ? entries[index]->reals.data() : nullptr;
}

bool UxParamBundle::entryRealsFromFloats(int index) const {
  return entryKind(index) == REALS && entries[index]->realsFromFloats;
}

UxParamBundle* UxParamBundle::entryBundle(int index) {
  return entryKind(index) == BUNDLE ? entries[index]->bundle.get() : nullptr;
}

const UxParamBundle* UxParamBundle::entryBundle(int index) const {
  return entryKind(index) == BUNDLE ? entries[index]->bundle.get() : nullptr;
}
