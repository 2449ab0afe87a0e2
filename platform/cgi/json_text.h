// Compact JSON text of a Json::Value, written straight into a string.
//
// The same text JsonCpp's StreamWriter gives with no indentation and
// emitUTF8 (members in key order, UTF-8 bytes as they are, control
// characters escaped), without its stream machinery: a list of thousands of
// songs is written in a fraction of the time.
#ifndef CANTORA_PLATFORM_CGI_JSON_TEXT_H
#define CANTORA_PLATFORM_CGI_JSON_TEXT_H

#include <json/json.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace cantora {

void AppendJsonText(const Json::Value& value, std::string* out);

// The JSON string of text: quoted, escaped as JsonCpp escapes it.
void AppendJsonString(std::string_view text, std::string* out);

// The most bytes the JSON string of a text of that many bytes can take:
// every byte escaped as \u00XX, and the quotes.
constexpr size_t JsonStringBound(size_t bytes) { return 6 * bytes + 2; }

// Writes the JSON string of text at out, which has room for
// JsonStringBound(text.size()) bytes, and returns the end of what it wrote.
// For writers that build long texts of many strings without a size check
// for each piece.
char* WriteJsonString(std::string_view text, char* out);

// Text on its way to a file in pieces of about 64 KiB, so that a long answer
// never sits whole in memory a second time. Append to text(); MaybeFlush()
// hands a full piece over, Flush() the rest.
class PieceWriter {
 public:
  explicit PieceWriter(FILE* file);
  PieceWriter(const PieceWriter&) = delete;
  PieceWriter& operator=(const PieceWriter&) = delete;

  std::string* text() { return &text_; }
  FILE* file() const { return file_; }
  void MaybeFlush() {
    if (text_.size() >= kPieceSize) Flush();
  }
  void Flush();

 private:
  static constexpr size_t kPieceSize = 64 * 1024;
  std::string text_;
  FILE* file_;
};

// Writes the JSON text of value to file, in pieces.
void WriteJsonText(const Json::Value& value, FILE* file);

}  // namespace cantora

#endif
