// What the tests hold the gateway's JSON writers to: JsonCpp's own compact
// text, and a list answer captured as the web server would read it.
#ifndef CANTORA_TESTS_UNIT_JSON_REFERENCE_H
#define CANTORA_TESTS_UNIT_JSON_REFERENCE_H

#include <json/json.h>
#include <stdio.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

#include "enumerate/list_answer.h"
#include "platform/cgi/webman.h"

// JsonCpp's StreamWriter text with no indentation and UTF-8 bytes as they are.
inline std::string JsonCppText(const Json::Value& v) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, v);
}

// Everything a ListAnswer writes, header included, when fill adds its items
// and the answer ends with success; led by "id" when one is given.
inline std::string WrittenListAnswer(const std::function<void(ListAnswer*)>& fill,
                                     std::optional<bool> success,
                                     std::optional<long> id = std::nullopt) {
  char* body = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&body, &size);
  if (out == nullptr) return "";
  cantora::WebMan web = cantora::WebMan::FromParts("GET", "", "", "", "", 0);
  web.SetOutput(out);
  {
    std::optional<ListAnswer> answer;
    if (id) {
      answer.emplace(&web, "text/plain; charset=\"UTF-8\"", *id);
    } else {
      answer.emplace(&web, "text/plain; charset=\"UTF-8\"");
    }
    fill(&*answer);
    answer->Finish(success);
  }
  std::fclose(out);
  std::string text(body, size);
  std::free(body);
  return text;
}

#endif
