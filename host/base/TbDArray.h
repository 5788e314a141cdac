#pragma once
// TbDArray: the host's growable array, on the host allocator.
//
// Elements live in one tbmalloc'ed block. Trivially copyable elements grow by
// tbrealloc; others are moved into a new block. append/resize return false
// when memory cannot be had and leave the array as it was; nothing throws.
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "host/base/TbMemory.h"

template <class T>
class TbDArray {
 public:
  TbDArray() = default;
  TbDArray(const TbDArray& other) { copyFrom(other); }
  TbDArray(TbDArray&& other) noexcept { swap(other); }
  TbDArray& operator=(const TbDArray& other) {
    if (this != &other) {
      clear();
      copyFrom(other);
    }
    return *this;
  }
  TbDArray& operator=(TbDArray&& other) noexcept {
    swap(other);
    return *this;
  }
  ~TbDArray() { clear(); }

  int size() const { return count; }
  bool isEmpty() const { return count == 0; }
  T& operator[](int i) { return items[i]; }
  const T& operator[](int i) const { return items[i]; }
  T* dataPtr() { return items; }
  const T* dataPtr() const { return items; }
  T& last() { return items[count - 1]; }

  bool append(const T& value) {
    if (!reserve(count + 1)) return false;
    new (items + count) T(value);
    ++count;
    return true;
  }

  // Grows with default-constructed (zeroed, for plain types) elements or shrinks.
  bool resize(int n) {
    if (n < count) {
      destroy(n, count);
      count = n;
      return true;
    }
    if (!reserve(n)) return false;
    for (int i = count; i < n; ++i) new (items + i) T();
    count = n;
    return true;
  }

  void remove(int i) {
    items[i].~T();
    if (std::is_trivially_copyable<T>::value) {
      std::memmove(static_cast<void*>(items + i), items + i + 1, sizeof(T) * (count - i - 1));
    } else {
      for (int k = i; k + 1 < count; ++k) {
        new (items + k) T(std::move(items[k + 1]));
        items[k + 1].~T();
      }
    }
    --count;
  }

  void clear() {
    destroy(0, count);
    tbfree(items);
    items = nullptr;
    count = capacity = 0;
  }

  void swap(TbDArray& other) noexcept {
    std::swap(items, other.items);
    std::swap(count, other.count);
    std::swap(capacity, other.capacity);
  }

  bool reserve(int n) {
    if (n <= capacity) return true;
    int grown = capacity < 8 ? 8 : capacity * 2;
    if (grown < n) grown = n;
    T* block = static_cast<T*>(std::is_trivially_copyable<T>::value
                                   ? tbrealloc(items, sizeof(T) * grown)
                                   : tbmalloc(sizeof(T) * grown));
    if (!block) return false;
    if (!std::is_trivially_copyable<T>::value) {
      for (int i = 0; i < count; ++i) {
        new (block + i) T(std::move(items[i]));
        items[i].~T();
      }
      tbfree(items);
    }
    items = block;
    capacity = grown;
    return true;
  }

 private:
  void copyFrom(const TbDArray& other) {
    if (!reserve(other.count)) return;
    for (int i = 0; i < other.count; ++i) new (items + i) T(other.items[i]);
    count = other.count;
  }
  void destroy(int from, int to) {
    if (!std::is_trivially_destructible<T>::value)
      for (int i = from; i < to; ++i) items[i].~T();
  }

  T* items = nullptr;
  int count = 0;
  int capacity = 0;
};
