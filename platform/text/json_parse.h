// Reading JSON text without exceptions.
//
// JsonCpp throws when a text nests deeper than its limit (and when memory
// runs out), and nothing of ours catches exceptions: a request, a store file
// or an administrator's input nested a thousand deep would end the process
// half-way through its work. Every parse of text from outside goes through
// here, where such a text is one more unparsable text.
#ifndef CANTORA_PLATFORM_TEXT_JSON_PARSE_H
#define CANTORA_PLATFORM_TEXT_JSON_PARSE_H

#include <json/json.h>

#include <istream>
#include <string>
#include <string_view>

namespace cantora {

// Parses text with the reader builder's settings into *value. False, with
// the reader's message in *problem when given, for any text the reader
// refuses or throws on; *value is then unspecified.
bool ParseJson(std::string_view text, const Json::CharReaderBuilder& builder, Json::Value* value,
               std::string* problem = nullptr);

// The same with JsonCpp's lenient defaults (comments allowed).
bool ParseJson(std::string_view text, Json::Value* value, std::string* problem = nullptr);

// The same for a stream, read with the older Json::Reader (comments kept):
// the form the station list files have always been read in.
bool ParseJson(std::istream& in, Json::Value* value);

}  // namespace cantora

#endif
