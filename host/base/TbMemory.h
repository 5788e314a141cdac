#pragma once
// The host allocator. Host arrays and buffers that cross between host and
// package are allocated here. tbmalloc and tbrealloc return null on failure
// and never throw; tbfree accepts null.
#include <cstddef>

void* tbmalloc(size_t size);
void* tbrealloc(void* ptr, size_t size);
void tbfree(void* ptr);
