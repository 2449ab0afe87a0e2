// The gateway's C++ objects live in one region, given back whole at exit.
//
// enumerate.cgi answers one request and ends. Its lists of artists, albums
// and stations are JSON values of thousands of members, each a node of its
// own; allocating them one by one from the general-purpose heap, and handing
// every one back just before the process ends anyway, costs more than
// finding them. Here operator new takes the next bytes of a block, and
// operator delete keeps them: nothing of a request is freed before its
// process ends, which its size (one answer) bounds.
// C code (SQLite, the C library) keeps using malloc and free.
//
// The region is the main thread's: it is not locked. Another thread (one
// that tests song files beside the request's) takes its objects from malloc
// and frees them, whatever the mode.
//
// A resident process (FastCGI) answers request after request, so nothing of
// a request may stay behind: from KeepObjectsInTheGeneralHeap() on, new
// and delete are malloc and free, and only what the region already holds
// (objects made before the first request) is never freed.
//
// Linked into enumerate.cgi only, never into tests or tools.
#include "enumerate/region_new.h"

#include <sys/mman.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// The first block is small and its pages come as they are touched, so that
// a request with a small answer costs a few page faults; each further block
// doubles, up to this size, and has its pages mapped in up front, since a
// request that needs it will fill it.
constexpr size_t kFirstBlock = 64 * 1024;
constexpr size_t kLargestBlock = 16 * 1024 * 1024;
constexpr size_t kAlignment = alignof(std::max_align_t);

char* next_free = nullptr;
size_t bytes_left = 0;
size_t block_size = kFirstBlock;

// The region's blocks, so that delete can tell its objects from the general
// heap's once that is in use. Before the first request a process makes a
// few small blocks at most.
constexpr int kMaxBlocks = 32;
struct Block {
  const char* begin;
  const char* end;
};
Block blocks[kMaxBlocks];
// Published after its block, for the other threads' deletes.
std::atomic<int> block_count{0};
bool blocks_complete = true;
bool general_heap = false;

// Whether the calling thread is the region's, the first to allocate (the
// main thread, while the program's static objects are made).
std::atomic<bool> region_taken{false};
bool OnRegionThread() {
  // 0: not known yet, 1: the region's thread, 2: another.
  thread_local int role = 0;
  if (role == 0) role = region_taken.exchange(true) ? 2 : 1;
  return role == 1;
}

bool InRegion(const void* pointer) {
  const char* p = static_cast<const char*>(pointer);
  int count = block_count.load(std::memory_order_acquire);
  for (int i = 0; i < count; ++i)
    if (p >= blocks[i].begin && p < blocks[i].end) return true;
  return false;
}

void* Take(size_t size) {
  size = (size + kAlignment - 1) & ~(kAlignment - 1);
  if (size == 0) size = kAlignment;
  if (size > bytes_left) {
    size_t block = size > block_size ? size : block_size;
    int populate = next_free == nullptr ? 0 : MAP_POPULATE;
    void* pages = mmap(nullptr, block, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | populate, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    next_free = static_cast<char*>(pages);
    bytes_left = block;
    int count = block_count.load(std::memory_order_relaxed);
    if (count < kMaxBlocks) {
      blocks[count] = {next_free, next_free + block};
      block_count.store(count + 1, std::memory_order_release);
    } else {
      blocks_complete = false;
    }
    if (block_size < kLargestBlock) block_size *= 2;
  }
  void* out = next_free;
  next_free += size;
  bytes_left -= size;
  return out;
}

void* New(size_t size) {
  if (!general_heap && OnRegionThread()) return Take(size);
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void Delete(void* p) {
  if (p == nullptr || (!general_heap && OnRegionThread())) return;
  if (!InRegion(p)) std::free(p);
}

}  // namespace

bool KeepObjectsInTheGeneralHeap() {
  if (!blocks_complete) return false;
  general_heap = true;
  return true;
}

void* operator new(size_t size) { return New(size); }
void* operator new[](size_t size) { return New(size); }
void operator delete(void* p) noexcept { Delete(p); }
void operator delete[](void* p) noexcept { Delete(p); }
void operator delete(void* p, size_t) noexcept { Delete(p); }
void operator delete[](void* p, size_t) noexcept { Delete(p); }
