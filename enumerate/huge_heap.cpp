// The gateway's C heap on huge pages.
//
// SQLite and the C library allocate from malloc: page-cache pages, the
// trigram doclists of a search, the rows of a list. On the virtual machines
// this runs on, every first touch of a 4 KiB page is a fault of about 11 us,
// while a 2 MiB huge page costs one fault of about 140 us: a search that
// reads a thousand scattered rows touches a thousand pages of cache.
//
// The heap is extended once, at start, by a large top pad that is only
// reserved address space until touched, and that extension is marked for
// huge pages. Nothing is trimmed or handed to mmap below 32 MiB, so the
// allocations of one request stay inside it. A kernel without transparent
// huge pages just gives small pages, as before.
//
// Linked into enumerate.cgi only, like region_new.cpp.
#include "enumerate/huge_heap.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr uintptr_t kHugePage = 2 * 1024 * 1024;
// Room for the largest answers (a long list's rows and sort) without a
// second extension; only what is touched is ever backed by memory.
constexpr int kTopPad = 64 * 1024 * 1024;
// The largest block malloc may serve from the heap (glibc's upper bound).
constexpr int kMmapThreshold = 32 * 1024 * 1024;

}  // namespace

void KeepHeapPagesBetweenRequests() {
  mallopt(M_MMAP_THRESHOLD, kMmapThreshold);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

void UseHugePagesForTheHeap() {
  if (mallopt(M_MMAP_THRESHOLD, kMmapThreshold) == 0) return;
  // Trimming would shrink the marked area, and the next extension would not
  // be marked: the process ends soon anyway.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_TOP_PAD, kTopPad);
  // A block just larger than what is left at the top makes malloc extend the
  // heap now, by the block and the pad.
  void* block = std::malloc(mallinfo2().keepcost + 4096);
  if (block == nullptr) return;
  // The heap's top starts where block does once it is freed. The stretch
  // from there to the next huge-page boundary cannot have a huge page: it
  // is set aside, never touched nor freed, so that what the request
  // allocates next starts at the boundary.
  uintptr_t top = reinterpret_cast<uintptr_t>(block);
  std::free(block);
  uintptr_t begin = (top + kHugePage - 1) & ~(kHugePage - 1);
  uintptr_t end = reinterpret_cast<uintptr_t>(sbrk(0)) & ~(kHugePage - 1);
  if (end <= begin) return;
  constexpr uintptr_t kChunkHeader = 2 * sizeof(size_t);
  if (begin - top > 2 * kChunkHeader && std::malloc(begin - top - 2 * kChunkHeader) == nullptr)
    return;
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}
