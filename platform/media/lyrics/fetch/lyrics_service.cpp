#include "platform/media/lyrics/fetch/lyrics_service.h"

#include <json/json.h>
#include <unistd.h>


#include "platform/lib/curl/easy.h"
#include "platform/media/lyrics/lyrics_cache.h"
#include "platform/file/atomic_file.h"
#include "platform/text/json_parse.h"

namespace cantora {
namespace {

bool IsWebUrl(const std::string& url) {
  return url.compare(0, 7, "http://") == 0 || url.compare(0, 8, "https://") == 0;
}

std::string NonEmptyText(const Json::Value& answer, const char* key) {
  const Json::Value& v = answer[key];
  return v.isString() ? v.asString() : "";
}

}  // namespace

ServiceAnswer ReadServiceAnswer(long status, const std::string& body, std::string* lyrics,
                                std::string* error) {
  if (status == 404) return ServiceAnswer::kNotFound;
  if (status != 200) {
    *error = "the lyrics service answered HTTP " + std::to_string(status);
    return ServiceAnswer::kFailed;
  }
  Json::Value answer;
  if (!ParseJson(body, &answer) || !answer.isObject()) {
    *error = "the lyrics service's answer is not a JSON object";
    return ServiceAnswer::kFailed;
  }
  for (const char* key : {"syncedLyrics", "plainLyrics"}) {
    std::string text = NonEmptyText(answer, key);
    if (!text.empty()) {
      *lyrics = text;
      return ServiceAnswer::kFound;
    }
  }
  return ServiceAnswer::kNotFound;
}

ServiceAnswer AskLyricsService(const Config& config, const std::string& artist,
                               const std::string& title, std::string* lyrics, std::string* error) {
  if (!IsWebUrl(config.lyrics_url)) {
    *error = "lyrics_url is not an http or https URL";
    return ServiceAnswer::kFailed;
  }
  curl::Request request;
  request.url = config.lyrics_url;
  request.url += config.lyrics_url.find('?') == std::string::npos ? '?' : '&';
  request.url += "artist_name=" + curl::Easy::Escape(artist) +
                 "&track_name=" + curl::Easy::Escape(title);
  request.headers = {"Accept: application/json"};
  request.user_agent = "cantora-lyrics-fetch/1";
  request.connect_timeout_seconds = config.lyrics_connect_timeout;
  request.timeout_seconds = config.lyrics_timeout;
  request.max_bytes = config.lyrics_max_bytes > 0 ? static_cast<size_t>(config.lyrics_max_bytes) : 0;
  curl::Easy easy;
  curl::Response response;
  if (!easy.Perform(request, &response, error)) return ServiceAnswer::kFailed;
  return ReadServiceAnswer(response.status, response.body, lyrics, error);
}

ServiceAnswer FetchLyricsIntoCache(const Config& config, const std::string& artist,
                                   const std::string& title, std::string* error) {
  std::string lyrics, service_error;
  ServiceAnswer answer = AskLyricsService(config, artist, title, &lyrics, &service_error);
  const std::string stem = LyricsCacheStem(config, artist, title);
  std::string write_error;
  bool written = false;
  switch (answer) {
    case ServiceAnswer::kFound:
      written = ReplaceFileAtomically(stem + ".lrc", lyrics, &write_error);
      unlink((stem + ".miss").c_str());
      unlink((stem + ".fail").c_str());
      break;
    case ServiceAnswer::kNotFound:
      written = ReplaceFileAtomically(stem + ".miss", "", &write_error);
      break;
    case ServiceAnswer::kFailed:
      written = ReplaceFileAtomically(stem + ".fail", service_error + "\n", &write_error);
      *error = service_error;
      break;
  }
  if (!written) {
    *error = answer == ServiceAnswer::kFailed ? service_error + "; " + write_error : write_error;
    return ServiceAnswer::kFailed;
  }
  return answer;
}

}  // namespace cantora
