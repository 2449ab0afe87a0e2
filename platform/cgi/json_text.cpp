#include "platform/cgi/json_text.h"

#include <cinttypes>
#include <cstdio>

namespace cantora {
namespace {

// Bytes written as they are; the others need an escape.
struct PlainBytes {
  bool plain[256];
  constexpr PlainBytes() : plain() {
    for (int c = 0; c < 256; ++c) plain[c] = c >= 0x20 && c != '"' && c != '\\';
  }
};
constexpr PlainBytes kPlain;

void AppendQuoted(const char* begin, const char* end, std::string* out) {
  static const char kHex[] = "0123456789abcdef";
  out->push_back('"');
  const char* run = begin;
  for (const char* p = begin; p != end; ++p) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (kPlain.plain[c]) continue;
    out->append(run, p);
    run = p + 1;
    switch (c) {
      case '"': out->append("\\\""); break;
      case '\\': out->append("\\\\"); break;
      case '\b': out->append("\\b"); break;
      case '\f': out->append("\\f"); break;
      case '\n': out->append("\\n"); break;
      case '\r': out->append("\\r"); break;
      case '\t': out->append("\\t"); break;
      default:
        out->append("\\u00");
        out->push_back(kHex[c >> 4]);
        out->push_back(kHex[c & 15]);
    }
  }
  out->append(run, end);
  out->push_back('"');
}

constexpr size_t kPieceSize = 64 * 1024;

// Appends to a string and, given a file, hands full pieces over to it.
class Output {
 public:
  Output(std::string* text, FILE* file) : text_(text), file_(file) {}
  void MaybeFlush() {
    if (file_ != nullptr && text_->size() >= kPieceSize) Flush();
  }
  void Flush() {
    if (file_ == nullptr) return;
    std::fwrite(text_->data(), 1, text_->size(), file_);
    text_->clear();
  }
  std::string* text() { return text_; }

 private:
  std::string* text_;
  FILE* file_;
};

void Append(const Json::Value& value, Output* output);

}  // namespace

void AppendJsonText(const Json::Value& value, std::string* out) {
  Output output(out, nullptr);
  Append(value, &output);
}

void WriteJsonText(const Json::Value& value, FILE* file) {
  std::string text;
  text.reserve(kPieceSize * 2);
  Output output(&text, file);
  Append(value, &output);
  output.Flush();
}

namespace {

void Append(const Json::Value& value, Output* output) {
  std::string* out = output->text();
  char number[32];
  switch (value.type()) {
    case Json::nullValue:
      out->append("null");
      break;
    case Json::intValue:
      out->append(number, std::snprintf(number, sizeof number, "%" PRId64,
                                        static_cast<int64_t>(value.asLargestInt())));
      break;
    case Json::uintValue:
      out->append(number, std::snprintf(number, sizeof number, "%" PRIu64,
                                        static_cast<uint64_t>(value.asLargestUInt())));
      break;
    case Json::realValue: {
      // Rare in answers: JsonCpp's own formatting keeps the text identical.
      Json::StreamWriterBuilder builder;
      builder["indentation"] = "";
      out->append(Json::writeString(builder, value));
      break;
    }
    case Json::stringValue: {
      const char* begin = nullptr;
      const char* end = nullptr;
      value.getString(&begin, &end);
      AppendQuoted(begin, end, out);
      break;
    }
    case Json::booleanValue:
      out->append(value.asBool() ? "true" : "false");
      break;
    case Json::arrayValue: {
      out->push_back('[');
      // Walked with an iterator: JsonCpp finds an element by index in a tree.
      bool first = true;
      for (auto it = value.begin(); it != value.end(); ++it) {
        if (!first) out->push_back(',');
        first = false;
        Append(*it, output);
        output->MaybeFlush();
      }
      out->push_back(']');
      break;
    }
    case Json::objectValue: {
      out->push_back('{');
      bool first = true;
      for (auto it = value.begin(); it != value.end(); ++it) {
        if (!first) out->push_back(',');
        first = false;
        const char* key_end = nullptr;
        const char* key = it.memberName(&key_end);
        AppendQuoted(key, key_end, out);
        out->push_back(':');
        Append(*it, output);
      }
      out->push_back('}');
      break;
    }
  }
}

}  // namespace
}  // namespace cantora
