// TextArena: short texts that live exactly as long as the arena.
//
// A long JSON answer refers to its texts (Json::StaticString) instead of
// copying each one into an allocation of its own; the arena holds the texts
// that exist nowhere else, such as numbers formatted for the answer. Keep the
// arena alive until the answer is written.
#ifndef CANTORA_PLATFORM_TEXT_ARENA_H
#define CANTORA_PLATFORM_TEXT_ARENA_H

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace cantora {

class TextArena {
 public:
  TextArena() = default;
  TextArena(const TextArena&) = delete;
  TextArena& operator=(const TextArena&) = delete;

  // A NUL-terminated copy of text, valid for the arena's life.
  const char* Store(std::string_view text);

 private:
  static constexpr size_t kBlockSize = 64 * 1024;
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  size_t left_ = 0;
};

}  // namespace cantora

#endif
