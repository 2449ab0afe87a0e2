#include "platform/cgi/json_text.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

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

// True when one of the eight bytes of word needs an escape: a control
// character, '"' or '\\'. Most texts need none, and are passed over a word
// at a time.
bool NeedsEscape(uint64_t word) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighs = 0x8080808080808080ull;
  auto has_zero = [](uint64_t x) { return (x - kOnes) & ~x & kHighs; };
  uint64_t below_space = (word - kOnes * 0x20) & ~word & kHighs;
  return (below_space | has_zero(word ^ (kOnes * '"')) | has_zero(word ^ (kOnes * '\\'))) != 0;
}

void AppendQuoted(const char* begin, const char* end, std::string* out) {
  AppendJsonString(std::string_view(begin, end - begin), out);
}

// Appends value to out; pieces, when given, may take the text between elements.
void Append(const Json::Value& value, std::string* out, PieceWriter* pieces);

}  // namespace

void AppendJsonText(const Json::Value& value, std::string* out) { Append(value, out, nullptr); }

char* WriteJsonString(std::string_view text, char* out) {
  static const char kHex[] = "0123456789abcdef";
  *out++ = '"';
  const char* p = text.data();
  const char* end = p + text.size();
  while (p != end) {
    if (end - p >= 8) {
      uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if (!NeedsEscape(word)) {
        std::memcpy(out, &word, sizeof word);
        out += sizeof word;
        p += sizeof word;
        continue;
      }
    }
    unsigned char c = static_cast<unsigned char>(*p++);
    if (kPlain.plain[c]) {
      *out++ = static_cast<char>(c);
      continue;
    }
    *out++ = '\\';
    switch (c) {
      case '"': *out++ = '"'; break;
      case '\\': *out++ = '\\'; break;
      case '\b': *out++ = 'b'; break;
      case '\f': *out++ = 'f'; break;
      case '\n': *out++ = 'n'; break;
      case '\r': *out++ = 'r'; break;
      case '\t': *out++ = 't'; break;
      default:
        *out++ = 'u';
        *out++ = '0';
        *out++ = '0';
        *out++ = kHex[c >> 4];
        *out++ = kHex[c & 15];
    }
  }
  *out++ = '"';
  return out;
}

void AppendJsonString(std::string_view text, std::string* out) {
  size_t start = out->size();
  out->resize(start + JsonStringBound(text.size()));
  char* end = WriteJsonString(text, &(*out)[start]);
  out->resize(end - out->data());
}

PieceWriter::PieceWriter(FILE* file) : file_(file) { text_.reserve(kPieceSize * 2); }

void PieceWriter::Flush() {
  std::fwrite(text_.data(), 1, text_.size(), file_);
  text_.clear();
}

void WriteJsonText(const Json::Value& value, FILE* file) {
  PieceWriter pieces(file);
  Append(value, pieces.text(), &pieces);
  pieces.Flush();
}

namespace {

void Append(const Json::Value& value, std::string* out, PieceWriter* pieces) {
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
        Append(*it, out, pieces);
        // A piece goes out between elements; out is the writer's own text.
        if (pieces != nullptr) pieces->MaybeFlush();
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
        Append(*it, out, pieces);
      }
      out->push_back('}');
      break;
    }
  }
}

}  // namespace
}  // namespace cantora
