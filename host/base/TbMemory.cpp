#include "host/base/TbMemory.h"

#include <cstdlib>

void* tbmalloc(size_t size) { return std::malloc(size ? size : 1); }

void* tbrealloc(void* ptr, size_t size) { return std::realloc(ptr, size ? size : 1); }

void tbfree(void* ptr) { std::free(ptr); }
