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

namespace cantora {

void AppendJsonText(const Json::Value& value, std::string* out);

// Writes the JSON text of value to file, in pieces of about 64 KiB, so that a
// long answer never sits whole in memory a second time.
void WriteJsonText(const Json::Value& value, FILE* file);

}  // namespace cantora

#endif
