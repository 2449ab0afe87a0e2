// The lyrics search's cache: one entry per artist and title (compared
// without regard to case), in <cache>/lyrics/, written by the fetch helper
// and read by the gateway.
//
//   <key>.lrc   lyrics found; kept until the cache is cleared
//   <key>.miss  the service has none; believed for kMissSeconds
//   <key>.fail  the service failed (time-out, error status, oversized or
//               malformed answer); believed for kFailSeconds, so that a dead
//               service does not cost every request its time-out
//
// <key> is the BLAKE2b-256 hex digest of the folded artist, a line feed and
// the folded title.
#ifndef CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_CACHE_H
#define CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_CACHE_H

#include <string>

#include "platform/config/config.h"

namespace cantora {

constexpr long kMissSeconds = 24 * 3600;
constexpr long kFailSeconds = 15 * 60;
// A cached text is at most this large (the helper's own cap is smaller).
constexpr size_t kMaxCachedLyricsBytes = 4 << 20;

enum class CachedLyrics { kNone, kFound, kMissing };

// <cache>/lyrics
std::string LyricsCacheFolder(const Config& config);
// The entry's path without its extension.
std::string LyricsCacheStem(const Config& config, const std::string& artist,
                            const std::string& title);

// What the cache holds for artist and title at time now: kFound with *text,
// kMissing while a miss or failure is fresh, else kNone.
CachedLyrics ReadCachedLyrics(const Config& config, const std::string& artist,
                              const std::string& title, long now, std::string* text);

}  // namespace cantora

#endif
