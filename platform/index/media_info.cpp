#include "platform/index/media_info.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/text/utf8.h"

// Every record is preceded by a pointer to the block it lies in; a block
// counts the records still in it, plus one while an allocator carves from it.
struct cantora::MediaInfoAllocator::Block {
  size_t live;
  size_t size;  // bytes of the whole block, this header included
  bool mapped;  // a mapping of its own, else from malloc
  char* next;   // the first free byte
  char* end;
};

namespace cantora {
namespace {

using Block = MediaInfoAllocator::Block;

constexpr size_t kAlign = alignof(MediaInfo);
constexpr size_t kSmallBlock = 64 * 1024;
// Small blocks come from malloc until this many bytes; a list that grows
// past it is long, and takes huge-page blocks.
constexpr size_t kSmallBlocksTotal = 256 * 1024;
constexpr size_t kHugeBlock = 2 * 1024 * 1024;

size_t Aligned(size_t n) { return (n + kAlign - 1) & ~(kAlign - 1); }

constexpr size_t kHeaderSize = (sizeof(Block) + kAlign - 1) & ~(kAlign - 1);

void InitBlock(Block* b, size_t size, bool mapped) {
  b->live = 1;
  b->size = size;
  b->mapped = mapped;
  b->next = reinterpret_cast<char*>(b) + kHeaderSize;
  b->end = reinterpret_cast<char*>(b) + size;
}

Block* MallocBlock(size_t size) {
  Block* b = static_cast<Block*>(std::malloc(size));
  if (b != nullptr) InitBlock(b, size, false);
  return b;
}

// Freed 2 MiB blocks kept for reuse (KeepFreedRecordBlocks).
constexpr int kMostKeptBlocks = 16;
Block* kept_blocks[kMostKeptBlocks];
int kept_count = 0;
int kept_limit = 0;

// A 2 MiB region aligned to 2 MiB, which a huge page can back whole; null
// when the mapping fails.
Block* HugeBlock() {
  if (kept_count > 0) {
    Block* b = kept_blocks[--kept_count];
    InitBlock(b, kHugeBlock, true);
    return b;
  }
  void* raw = mmap(nullptr, 2 * kHugeBlock, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                   -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  uintptr_t start = reinterpret_cast<uintptr_t>(raw);
  uintptr_t aligned = (start + kHugeBlock - 1) & ~(uintptr_t{kHugeBlock} - 1);
  if (aligned > start) munmap(raw, aligned - start);
  munmap(reinterpret_cast<void*>(aligned + kHugeBlock), start + kHugeBlock - aligned);
  void* region = reinterpret_cast<void*>(aligned);
  // Without transparent huge pages this fails, and the block simply has
  // small pages.
  madvise(region, kHugeBlock, MADV_HUGEPAGE);
  Block* b = static_cast<Block*>(region);
  InitBlock(b, kHugeBlock, true);
  return b;
}

void Release(Block* b) {
  if (--b->live != 0) return;
  if (b->mapped && b->size == kHugeBlock && kept_count < kept_limit)
    kept_blocks[kept_count++] = b;
  else if (b->mapped)
    munmap(b, b->size);
  else
    std::free(b);
}

std::string_view UpToNul(std::string_view text) {
  size_t nul = text.find('\0');
  return nul == std::string_view::npos ? text : text.substr(0, nul);
}

// The texts of a record, cut at NUL, and the bytes its slot takes.
struct Layout {
  std::string_view values[8];
  size_t size;
};

Layout LayOut(const MediaInfoTexts& texts) {
  const std::string_view* fields[] = {&texts.path,         &texts.title, &texts.album,
                                      &texts.artist,       &texts.album_artist,
                                      &texts.genre,        &texts.composer,
                                      &texts.comment};
  Layout l;
  l.size = sizeof(Block*) + sizeof(MediaInfo);
  for (size_t i = 0; i < 8; ++i) {
    l.values[i] = UpToNul(*fields[i]);
    l.size += l.values[i].size() + 1;
  }
  l.size = Aligned(l.size);
  return l;
}

// Fills the slot at b->next with a record of layout l, counted in b.
MediaInfo* Place(Block* b, const Layout& l) {
  char* slot = b->next;
  b->next += l.size;
  ++b->live;
  std::memcpy(slot, &b, sizeof b);
  MediaInfo* info = reinterpret_cast<MediaInfo*>(slot + sizeof(Block*));
  std::memset(info, 0, sizeof(MediaInfo));
  const char* MediaInfo::*const targets[] = {
      &MediaInfo::path,   &MediaInfo::title,        &MediaInfo::album,
      &MediaInfo::artist, &MediaInfo::album_artist, &MediaInfo::genre,
      &MediaInfo::composer, &MediaInfo::comment};
  char* text = reinterpret_cast<char*>(info + 1);
  for (size_t i = 0; i < 8; ++i) {
    // An empty view may hold no pointer at all, which memcpy must not see.
    if (!l.values[i].empty()) std::memcpy(text, l.values[i].data(), l.values[i].size());
    text[l.values[i].size()] = '\0';
    info->*targets[i] = text;
    text += l.values[i].size() + 1;
  }
  return info;
}

Block* BlockOf(const MediaInfo* info) {
  Block* b;
  std::memcpy(&b, reinterpret_cast<const char*>(info) - sizeof(Block*), sizeof b);
  return b;
}

}  // namespace

MediaInfo* NewMediaInfo(const MediaInfoTexts& texts) {
  Layout l = LayOut(texts);
  Block* b = MallocBlock(kHeaderSize + l.size);
  if (b == nullptr) return nullptr;
  MediaInfo* info = Place(b, l);
  Release(b);  // the record alone holds it now
  return info;
}

MediaInfoAllocator::~MediaInfoAllocator() {
  if (current_ != nullptr) Release(current_);
}

MediaInfo* MediaInfoAllocator::New(const MediaInfoTexts& texts) {
  Layout l = LayOut(texts);
  if (current_ == nullptr || static_cast<size_t>(current_->end - current_->next) < l.size) {
    Block* b = nullptr;
    if (kHeaderSize + l.size <= kHugeBlock && allocated_ >= kSmallBlocksTotal) b = HugeBlock();
    if (b == nullptr) {
      size_t size = kHeaderSize + l.size;
      b = MallocBlock(size > kSmallBlock ? size : kSmallBlock);
    }
    if (b == nullptr) return nullptr;
    if (current_ != nullptr) Release(current_);
    current_ = b;
    allocated_ += b->size;
  }
  return Place(current_, l);
}

void KeepFreedRecordBlocks(int count) {
  kept_limit = count < 0 ? 0 : count > kMostKeptBlocks ? kMostKeptBlocks : count;
  while (kept_count > kept_limit) munmap(kept_blocks[--kept_count], kHugeBlock);
}

}  // namespace cantora

void ZARNPlaylistRecFree(MediaInfo* head) {
  while (head != nullptr) {
    MediaInfo* next = head->next;
    cantora::Release(cantora::BlockOf(head));
    head = next;
  }
}

bool MediaInfoIsValidUtf8(const MediaInfo* info) {
  return info != nullptr && TryUTF8ToUTF16(info->album) && TryUTF8ToUTF16(info->artist) &&
         TryUTF8ToUTF16(info->title) && TryUTF8ToUTF16(info->genre);
}
