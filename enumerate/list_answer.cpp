#include "enumerate/list_answer.h"

#include <charconv>
#include <cstdio>

namespace {

// Items written beforehand and shorter than this are copied into the
// pending piece; longer ones are written straight through.
constexpr size_t kCopiedSize = 16 * 1024;

}  // namespace

ListAnswer::ListAnswer(cantora::WebMan* web, const char* content_type)
    : pieces_(web->Output()) {
  web->WriteHeader(content_type);
  pieces_.text()->append("{\"items\":[");
}

ListAnswer::ListAnswer(cantora::WebMan* web, const char* content_type, long id)
    : pieces_(web->Output()) {
  web->WriteHeader(content_type);
  char digits[24];
  std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, id);
  pieces_.text()->append("{\"id\":").append(digits, r.ptr - digits).append(",\"items\":[");
}

std::string* ListAnswer::NextItem() {
  pieces_.MaybeFlush();
  std::string* text = pieces_.text();
  if (total_++ != 0) text->push_back(',');
  return text;
}

void ListAnswer::AddWritten(std::string_view items, size_t count) {
  if (count == 0) return;
  std::string* text = pieces_.text();
  if (total_ != 0) text->push_back(',');
  total_ += count;
  // A long text goes out as it is, after what was pending.
  if (items.size() < kCopiedSize) {
    text->append(items);
    return;
  }
  pieces_.Flush();
  std::fwrite(items.data(), 1, items.size(), pieces_.file());
}

void ListAnswer::Finish(std::optional<bool> success) {
  std::string* text = pieces_.text();
  text->push_back(']');
  if (success) text->append(*success ? ",\"success\":true" : ",\"success\":false");
  char digits[24];
  std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, total_);
  text->append(",\"total\":").append(digits, r.ptr - digits).push_back('}');
  pieces_.Flush();
  std::fflush(pieces_.file());
}
