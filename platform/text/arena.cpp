#include "platform/text/arena.h"

#include <cstring>

namespace cantora {

const char* TextArena::Store(std::string_view text) {
  size_t need = text.size() + 1;
  if (need > left_) {
    size_t size = need > kBlockSize ? need : kBlockSize;
    blocks_.emplace_back(new char[size]);
    next_ = blocks_.back().get();
    left_ = size;
  }
  char* out = next_;
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
  next_ += need;
  left_ -= need;
  return out;
}

}  // namespace cantora
