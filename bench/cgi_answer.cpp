#include "bench/cgi_answer.h"

#include <json/json.h>

#include <memory>

namespace bench {
namespace {

// Parses the JSON body that starts at body; false when it is not JSON.
bool ParseBody(const std::string& output, size_t body, Json::Value* v) {
  Json::CharReaderBuilder builder;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(output.data() + body, output.data() + output.size(), v, &errors);
}

}  // namespace

long TotalOf(const std::string& output) {
  size_t body = output.find("\r\n\r\n");
  size_t skip = 4;
  if (body == std::string::npos) {
    body = output.find("\n\n");
    skip = 2;
  }
  Json::Value v;
  if (body == std::string::npos || !ParseBody(output, body + skip, &v)) return -1;
  return v.isMember("total") ? static_cast<long>(v["total"].asUInt()) : -1;
}

std::string FirstId(const std::string& output) {
  size_t body = output.find("\r\n\r\n");
  Json::Value v;
  if (body == std::string::npos || !ParseBody(output, body + 4, &v)) return "";
  return v["items"][0]["id"].asString();
}

std::string HeaderOf(const std::string& output, const std::string& name) {
  size_t at = output.find(name + ": ");
  if (at == std::string::npos || at > output.find("\r\n\r\n")) return "";
  at += name.size() + 2;
  return output.substr(at, output.find("\r\n", at) - at);
}

}  // namespace bench
