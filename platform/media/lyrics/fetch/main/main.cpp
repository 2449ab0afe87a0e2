// cantora-lyrics-fetch ARTIST TITLE: asks the lyrics service (lyrics_url of
// the configuration) and stores the answer in the lyrics cache.
//
// Exit status: 0 found, 1 the service has none, 2 failure (one line on
// stderr; the failure is cached for a while too), 3 usage or configuration
// error. The gateway runs it without a shell (lyrics_search.h).
#include <cstdio>
#include <string>

#include "platform/config/config.h"
#include "platform/media/lyrics/fetch/lyrics_service.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: cantora-lyrics-fetch ARTIST TITLE\n");
    return 3;
  }
  cantora::Config config;
  std::string error;
  if (!cantora::LoadConfigFile(cantora::ConfigFilePath(), &config, &error)) {
    std::fprintf(stderr, "cantora-lyrics-fetch: %s\n", error.c_str());
    return 3;
  }
  if (config.lyrics_url.empty()) {
    std::fprintf(stderr, "cantora-lyrics-fetch: no lyrics_url in the configuration\n");
    return 3;
  }
  switch (cantora::FetchLyricsIntoCache(config, argv[1], argv[2], &error)) {
    case cantora::ServiceAnswer::kFound:
      std::printf("found\n");
      return 0;
    case cantora::ServiceAnswer::kNotFound:
      std::printf("not found\n");
      return 1;
    case cantora::ServiceAnswer::kFailed:
      break;
  }
  std::fprintf(stderr, "cantora-lyrics-fetch: %s\n", error.c_str());
  return 2;
}
