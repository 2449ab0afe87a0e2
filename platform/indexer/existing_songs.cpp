#include "platform/indexer/existing_songs.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace cantora {
namespace {

constexpr size_t kBlock = 1 << 20;

// Maps in the whole pages of [data, data + bytes) at once: one system call
// instead of a fault per page. Where the kernel cannot, pages come as
// they are touched.
void MapIn(void* data, size_t bytes) {
#ifdef MADV_POPULATE_WRITE
  const uintptr_t page = 4096;
  uintptr_t begin = (reinterpret_cast<uintptr_t>(data) + page - 1) & ~(page - 1);
  uintptr_t end = (reinterpret_cast<uintptr_t>(data) + bytes) & ~(page - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#else
  (void)data;
  (void)bytes;
#endif
}

size_t SlotsFor(size_t songs) {
  size_t slots = 16;
  while (slots < 2 * songs) slots *= 2;
  return slots;
}

}  // namespace

void ExistingSongs::Reserve(size_t n) {
  if (n <= entries_.capacity()) return;
  entries_.reserve(n);
  MapIn(entries_.data() + entries_.size(), (n - entries_.size()) * sizeof(Entry));
  if (SlotsFor(n) > slots_.size()) Rehash(SlotsFor(n));
}

ExistingSong& ExistingSongs::Add(std::string_view path) {
  if (2 * (entries_.size() + 1) > slots_.size()) Rehash(SlotsFor(entries_.size() + 1));
  uint32_t& slot = SlotOf(path);
  if (slot == 0) {
    entries_.push_back({Keep(path), ExistingSong()});
    slot = static_cast<uint32_t>(entries_.size());
  }
  return entries_[slot - 1].song;
}

ExistingSong* ExistingSongs::Find(std::string_view path) {
  if (slots_.empty()) return nullptr;
  uint32_t slot = SlotOf(path);
  return slot == 0 ? nullptr : &entries_[slot - 1].song;
}

uint32_t& ExistingSongs::SlotOf(std::string_view path) {
  const size_t mask = slots_.size() - 1;
  for (size_t i = std::hash<std::string_view>()(path) & mask;; i = (i + 1) & mask) {
    uint32_t& slot = slots_[i];
    if (slot == 0 || entries_[slot - 1].path == path) return slot;
  }
}

void ExistingSongs::Rehash(size_t slots) {
  slots_.assign(slots, 0);
  MapIn(slots_.data(), slots * sizeof(uint32_t));
  for (size_t i = 0; i < entries_.size(); ++i)
    SlotOf(entries_[i].path) = static_cast<uint32_t>(i + 1);
}

std::string_view ExistingSongs::Keep(std::string_view path) {
  if (path.size() > left_) {
    size_t size = std::max(kBlock, path.size());
    blocks_.push_back(std::unique_ptr<char[]>(new char[size]));
    next_ = blocks_.back().get();
    left_ = size;
    MapIn(next_, size);
  }
  if (!path.empty()) std::memcpy(next_, path.data(), path.size());
  std::string_view kept(next_, path.size());
  next_ += path.size();
  left_ -= path.size();
  return kept;
}

}  // namespace cantora
