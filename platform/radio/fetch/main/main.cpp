// cantora-radio-fetch STEM: refreshes one SHOUTcast genre cache file.
//
// STEM is "shoutcast_" followed by a genre's display name. Prints the number
// of stations written; on failure prints one line on stderr, leaves the old
// file as it was and exits with status 1 (2 for a usage error).
#include <cstdio>
#include <string>

#include "platform/config/config.h"
#include "platform/radio/fetch/refresh.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: cantora-radio-fetch STEM\n");
    return 2;
  }
  cantora::Config config;
  std::string error;
  if (!cantora::LoadConfigFile(cantora::ConfigFilePath(), &config, &error)) {
    std::fprintf(stderr, "cantora-radio-fetch: %s\n", error.c_str());
    return 1;
  }
  // The store resolves the radio folder through the configuration in force.
  cantora::SetConfig(config);
  int count = 0;
  if (!cantora::RefreshShoutcastGenre(config, argv[1], &count, &error)) {
    std::fprintf(stderr, "cantora-radio-fetch: %s\n", error.c_str());
    return 1;
  }
  std::printf("%d stations\n", count);
  return 0;
}
