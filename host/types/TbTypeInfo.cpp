#include "host/types/TbTypeInfo.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/base/TbDArray.h"

namespace {

// Deliberately never freed: records in static storage of the host and of
// packages unregister in whatever order the runtime destroys them.
std::vector<TbTypeInfo*>& registry() {
  static auto* records = new std::vector<TbTypeInfo*>();
  return *records;
}

}  // namespace

TbTypeInfo::TbTypeInfo(const char* typeName, TbFactory typeFactory, TbTypeInfo* parentType)
    : name(strdup(typeName ? typeName : "")), factory(typeFactory), parent(parentType) {
  registry().push_back(this);
}

TbTypeInfo::~TbTypeInfo() {
  auto& records = registry();
  records.erase(std::remove(records.begin(), records.end(), this), records.end());
  free(name);
}

bool TbTypeInfo::isDerivedFrom(const TbTypeInfo* ancestor) const {
  for (const TbTypeInfo* type = this; type; type = type->parent)
    if (type == ancestor) return true;
  return false;
}

TbTypedObject* TbTypeInfo::createInstance() const { return factory ? factory() : nullptr; }

TbTypeInfo* TbTypeInfo::fromName(const char* typeName) {
  if (!typeName) return nullptr;
  for (TbTypeInfo* record : registry())
    if (std::strcmp(record->name, typeName) == 0) return record;
  return nullptr;
}

void TbTypeInfo::getAll(TbDArray<TbTypeInfo*>& records) {
  records.clear();
  for (TbTypeInfo* record : registry()) records.append(record);
}
