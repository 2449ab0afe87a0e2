#include "platform/media/lyrics/lyrics_cache.h"

#include <sys/stat.h>

#include "platform/lib/sodium/crypto.h"
#include "platform/text/casefold.h"
#include "platform/text/plain_text.h"

namespace cantora {
namespace {

bool FreshFor(const std::string& path, long now, long seconds) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && now - st.st_mtime < seconds &&
         now >= st.st_mtime - 60;  // a clock set back does not make it live for ever
}

}  // namespace

std::string LyricsCacheFolder(const Config& config) {
  std::string cache = config.cache;
  while (cache.size() > 1 && cache.back() == '/') cache.pop_back();
  return cache + "/lyrics";
}

std::string LyricsCacheStem(const Config& config, const std::string& artist,
                            const std::string& title) {
  return LyricsCacheFolder(config) + "/" +
         crypto::Digest(FoldLower(artist) + "\n" + FoldLower(title));
}

CachedLyrics ReadCachedLyrics(const Config& config, const std::string& artist,
                              const std::string& title, long now, std::string* text) {
  std::string stem = LyricsCacheStem(config, artist, title);
  if (ReadPlainTextFile(stem + ".lrc", kMaxCachedLyricsBytes, text) && !text->empty())
    return CachedLyrics::kFound;
  if (FreshFor(stem + ".miss", now, kMissSeconds) || FreshFor(stem + ".fail", now, kFailSeconds))
    return CachedLyrics::kMissing;
  return CachedLyrics::kNone;
}

}  // namespace cantora
