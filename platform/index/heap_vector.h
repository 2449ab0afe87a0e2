// HeapVector: a std::vector whose buffers come from malloc.
//
// The gateway's operator new never gives memory back (enumerate/
// region_new.cpp): a vector that grows to N bytes there leaves every buffer
// it outgrew behind, about N more. The few arrays that grow with a request's
// rows (the sort keys of a long list, the ids of a random order) take their
// buffers from malloc instead, which takes an outgrown one back and hands it
// out again.
#ifndef CANTORA_PLATFORM_INDEX_HEAP_VECTOR_H
#define CANTORA_PLATFORM_INDEX_HEAP_VECTOR_H

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

namespace cantora {

template <typename T>
struct MallocAllocator {
  using value_type = T;
  MallocAllocator() = default;
  template <typename U>
  MallocAllocator(const MallocAllocator<U>&) {}
  T* allocate(size_t n) {
    if (n > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_alloc();
    void* p = std::malloc(n * sizeof(T));
    if (p == nullptr) throw std::bad_alloc();
    return static_cast<T*>(p);
  }
  void deallocate(T* p, size_t) { std::free(p); }
  template <typename U>
  bool operator==(const MallocAllocator<U>&) const { return true; }
  template <typename U>
  bool operator!=(const MallocAllocator<U>&) const { return false; }
};

template <typename T>
using HeapVector = std::vector<T, MallocAllocator<T>>;

}  // namespace cantora

#endif
