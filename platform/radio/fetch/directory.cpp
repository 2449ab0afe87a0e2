#include "platform/radio/fetch/directory.h"


#include "platform/lib/curl/easy.h"
#include "platform/text/json_parse.h"

namespace cantora {
namespace {

constexpr const char* kUserAgent = "cantora-radio-fetch/1";

bool IsDecimal(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// A non-negative whole number given as a JSON number or as decimal text, as
// decimal text; empty when the value is neither.
std::string WholeNumber(const Json::Value& value) {
  if (value.isUInt64()) return std::to_string(value.asUInt64());
  if (value.isDouble() && value.asDouble() >= 0 && value.asDouble() < 1e15) {
    return std::to_string(static_cast<unsigned long long>(value.asDouble()));
  }
  if (value.isString() && IsDecimal(value.asString())) return value.asString();
  return "";
}

}  // namespace

bool StationsFromDirectoryAnswer(const std::string& body, const std::string& tune_url,
                                 Json::Value* list, std::string* error) {
  Json::CharReaderBuilder builder;
  builder["failIfExtra"] = true;
  builder["collectComments"] = false;
  Json::Value answer;
  if (body.empty() || !ParseJson(body, builder, &answer)) {
    *error = "malformed directory answer";
    return false;
  }
  if (!answer.isArray()) {
    *error = "malformed directory answer: not a list of stations";
    return false;
  }
  Json::Value stations(Json::arrayValue);
  for (const Json::Value& entry : answer) {
    if (!entry.isObject()) {
      *error = "malformed directory answer: a station is not an object";
      return false;
    }
    const std::string id = WholeNumber(entry["ID"]);
    const Json::Value& name = entry["Name"];
    if (id.empty() || !name.isString() || name.asString().empty()) continue;
    const std::string bitrate = WholeNumber(entry["Bitrate"]);
    const Json::Value& genre = entry["Genre"];
    Json::Value station;
    station["name"] = name.asString();
    station["url"] = tune_url + id;
    station["desc"] = genre.isString() ? genre.asString() : "";
    station["bitrate"] = bitrate.empty() ? "0" : bitrate;
    stations.append(station);
  }
  Json::Value result;
  result["total"] = stations.size();
  result["stations"] = stations;
  list->swap(result);
  return true;
}

bool FetchGenreStations(const Config& config, const std::string& query_form, Json::Value* list,
                        std::string* error) {
  curl::Request request;
  request.url = config.shoutcast_url;
  request.post = true;
  request.form = "genrename=" + query_form;
  request.headers = {"Accept: application/json",
                     "Content-Type: application/x-www-form-urlencoded"};
  request.user_agent = kUserAgent;
  request.connect_timeout_seconds = config.radio_connect_timeout;
  request.timeout_seconds = config.radio_timeout;
  request.max_bytes = static_cast<size_t>(config.radio_max_bytes);

  curl::Easy easy;
  curl::Response response;
  std::string problem;
  if (!easy.Perform(request, &response, &problem)) {
    *error = config.shoutcast_url + ": " + problem;
    return false;
  }
  if (response.status != 200) {
    *error = config.shoutcast_url + ": HTTP status " + std::to_string(response.status);
    return false;
  }
  if (!StationsFromDirectoryAnswer(response.body, config.shoutcast_tune_url, list, &problem)) {
    *error = config.shoutcast_url + ": " + problem;
    return false;
  }
  return true;
}

}  // namespace cantora
