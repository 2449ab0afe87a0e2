// The lyrics service, as cantora-lyrics-fetch asks it: an HTTP(S) API of
// the LRCLIB shape.
//
// Request: GET Config::lyrics_url + "?artist_name=<artist>&track_name=<title>"
// ("&" instead of "?" when the URL has a query already), Accept
// application/json, a "cantora-lyrics-fetch/1" User-Agent, with the time-outs
// Config::lyrics_connect_timeout and lyrics_timeout (seconds) and the cap
// Config::lyrics_max_bytes on the answer. Only http and https URLs are used.
//
// Answer: status 200 and a JSON object; its "syncedLyrics" (LRC text, time
// tags kept) or else "plainLyrics", when a non-empty string, are the lyrics.
// An object with neither (an instrumental, say) and status 404 mean the
// service has none. Anything else is a failure.
#ifndef CANTORA_PLATFORM_MEDIA_LYRICS_FETCH_LYRICS_SERVICE_H
#define CANTORA_PLATFORM_MEDIA_LYRICS_FETCH_LYRICS_SERVICE_H

#include <string>

#include "platform/config/config.h"

namespace cantora {

enum class ServiceAnswer { kFound, kNotFound, kFailed };

// Asks the service; kFound with *lyrics, kFailed with *error (one line).
ServiceAnswer AskLyricsService(const Config& config, const std::string& artist,
                               const std::string& title, std::string* lyrics, std::string* error);

// The answer-to-lyrics step alone, for a status and body.
ServiceAnswer ReadServiceAnswer(long status, const std::string& body, std::string* lyrics,
                                std::string* error);

// Asks the service and stores its answer in the cache (lyrics_cache.h),
// each entry written atomically. The answer, or kFailed when the cache
// cannot be written.
ServiceAnswer FetchLyricsIntoCache(const Config& config, const std::string& artist,
                                   const std::string& title, std::string* error);

}  // namespace cantora

#endif
