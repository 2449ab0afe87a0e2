#include "enumerate/huge_heap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitizedHeap = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitizedHeap = true;
#else
constexpr bool kSanitizedHeap = false;
#endif
#else
constexpr bool kSanitizedHeap = false;
#endif

// The mapping of /proc/self/smaps that holds address: its VmFlags line and
// whether it is the heap. Empty when no mapping holds it.
struct Mapping {
  std::string flags;
  bool heap = false;
};

Mapping MappingOf(const void* address) {
  uintptr_t a = reinterpret_cast<uintptr_t>(address);
  std::ifstream smaps("/proc/self/smaps");
  std::string line;
  Mapping found;
  bool inside = false;
  while (std::getline(smaps, line)) {
    uintptr_t low = 0, high = 0;
    char dash = 0;
    std::istringstream range(line);
    if (range >> std::hex >> low >> dash >> high && dash == '-') {
      if (inside) return found;
      inside = low <= a && a < high;
      found.heap = line.find("[heap]") != std::string::npos;
      continue;
    }
    if (inside && line.rfind("VmFlags:", 0) == 0) found.flags = line;
  }
  return inside ? found : Mapping();
}

std::string TransparentHugePages() {
  std::ifstream f("/sys/kernel/mm/transparent_hugepage/enabled");
  std::string mode;
  std::getline(f, mode);
  return mode;
}

// The tests run their checks in a child of their own: the settings are for
// a process that answers one request, not for the test program.

// Small blocks and a 1 MiB one (above glibc's usual mmap threshold): the
// large one, and small ones once the free room left over from before is
// used up (16 MiB of them), come from the marked heap, not from a mapping of
// their own.
void AllocateAfterTheSetUp() {
  UseHugePagesForTheHeap();
  char* small = nullptr;
  for (int i = 0; i < 4000; ++i) small = static_cast<char*>(std::malloc(4200));
  char* large = static_cast<char*>(std::malloc(1 << 20));
  std::memset(small, 1, 4200);
  std::memset(large, 1, 1 << 20);
  Mapping a = MappingOf(small), b = MappingOf(large);
  bool ok = a.heap && b.heap && a.flags.find(" hg") != std::string::npos &&
            b.flags.find(" hg") != std::string::npos;
  if (!ok) std::fprintf(stderr, "small: %s\nlarge: %s\n", a.flags.c_str(), b.flags.c_str());
  std::exit(ok ? 0 : 1);
}

// Blocks of 16 bytes to 512 KiB, written, read back and freed, three times.
void AllocateAndFreeAfterTheSetUp() {
  UseHugePagesForTheHeap();
  bool ok = true;
  for (int round = 0; round < 3 && ok; ++round) {
    char* blocks[256];
    for (int i = 0; i < 256; ++i) {
      size_t size = 16u << (i % 16);
      blocks[i] = static_cast<char*>(std::malloc(size));
      ok = ok && blocks[i] != nullptr;
      if (blocks[i]) std::memset(blocks[i], i, size);
    }
    for (int i = 0; i < 256; ++i) {
      ok = ok && blocks[i] && blocks[i][0] == static_cast<char>(i);
      std::free(blocks[i]);
    }
  }
  std::exit(ok ? 0 : 1);
}

// The resident pages of the process, from /proc/self/statm, read without
// allocating: a stream's buffer would take heap room between the blocks.
long ResidentPages() {
  char text[128] = {};
  int fd = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  ssize_t n = read(fd, text, sizeof text - 1);
  close(fd);
  long size = 0, resident = -1;
  if (n > 0) std::sscanf(text, "%ld %ld", &size, &resident);
  return resident;
}

// Writes a byte in every page of the block, through a volatile pointer: a
// compiler may leave out stores to a block that is freed unread.
void TouchEveryPage(char* block, size_t size) {
  volatile char* p = block;
  for (size_t i = 0; i < size; i += 4096) p[i] = 1;
}

// A request's 8 MiB block, written and freed, then another one: the second
// is served from the heap (not a mapping of its own) without its pages
// being given back and faulted in again in between.
void ReuseAfterKeepingThePages() {
  KeepHeapPagesBetweenRequests();
  constexpr size_t kBlock = 8 << 20;
  char* first = static_cast<char*>(std::malloc(kBlock));
  TouchEveryPage(first, kBlock);
  bool ok = MappingOf(first).heap;
  std::free(first);
  const long after_free = ResidentPages();
  char* second = static_cast<char*>(std::malloc(kBlock));
  TouchEveryPage(second, kBlock);
  const long after_second = ResidentPages();
  ok = ok && MappingOf(second).heap && after_second - after_free < 64;
  if (!ok)
    std::fprintf(stderr, "heap %d, %ld pages more\n", MappingOf(second).heap,
                 after_second - after_free);
  std::free(second);
  std::exit(ok ? 0 : 1);
}

TEST(HugeHeapTest, ResidentProcessKeepsItsHeapPages) {
  if (kSanitizedHeap) GTEST_SKIP() << "the sanitizer keeps a heap of its own";
  EXPECT_EXIT(ReuseAfterKeepingThePages(), testing::ExitedWithCode(0), "");
}

TEST(HugeHeapTest, WhatTheRequestAllocatesAfterwardsLiesOnHugePages) {
  if (kSanitizedHeap) GTEST_SKIP() << "the sanitizer keeps a heap of its own";
  if (TransparentHugePages().find("[never]") != std::string::npos)
    GTEST_SKIP() << "transparent huge pages are off on this machine";
  EXPECT_EXIT(AllocateAfterTheSetUp(), testing::ExitedWithCode(0), "");
}

TEST(HugeHeapTest, BlocksAreUsableAndFreedAsUsual) {
  if (kSanitizedHeap) GTEST_SKIP() << "the sanitizer keeps a heap of its own";
  EXPECT_EXIT(AllocateAndFreeAfterTheSetUp(), testing::ExitedWithCode(0), "");
}

}  // namespace
