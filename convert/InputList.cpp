#include "convert/InputList.h"

#include <cstdlib>

#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

bool contains(const InputList& list, const char* entry) {
  for (int i = 0; i < list.size(); ++i)
    if (list[i] == entry) return true;
  return false;
}
}  // namespace

void freeEntriesNotIn(const InputList& list, const InputList& keep) {
  for (int i = 0; i < list.size(); ++i)
    if (!contains(keep, list[i])) std::free(list[i]);
}

void freeEntries(InputList& list) {
  for (int i = 0; i < list.size(); ++i) std::free(list[i]);
  list.clear();
}
