#include "platform/text/json_parse.h"

#include <exception>
#include <memory>

namespace cantora {

bool ParseJson(std::string_view text, const Json::CharReaderBuilder& builder, Json::Value* value,
               std::string* problem) {
  std::string errors;
  try {
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (reader->parse(text.data(), text.data() + text.size(), value, &errors)) return true;
  } catch (const std::exception& e) {
    errors = e.what();
  }
  if (problem != nullptr) *problem = errors;
  return false;
}

bool ParseJson(std::string_view text, Json::Value* value, std::string* problem) {
  return ParseJson(text, Json::CharReaderBuilder(), value, problem);
}

bool ParseJson(std::istream& in, Json::Value* value) {
  try {
    Json::Reader reader;
    return reader.parse(in, *value, true);
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace cantora
