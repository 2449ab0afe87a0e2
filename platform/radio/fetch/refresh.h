// The refresh of one SHOUTcast genre cache file: what cantora-radio-fetch does.
#ifndef CANTORA_PLATFORM_RADIO_FETCH_REFRESH_H
#define CANTORA_PLATFORM_RADIO_FETCH_REFRESH_H

#include <string>

#include "platform/config/config.h"

namespace cantora {

// stem is "shoutcast_" followed by a genre's display name ("shoutcast_Hip
// Hop"). Asks the directory for that genre (see directory.h) and replaces
// "<root>/usr/zarn/etc/radio/<stem>.json" atomically with the stations, in
// the store's format. On success sets *count to the number of stations. On
// any failure the old file stays as it was, and *error holds one line.
bool RefreshShoutcastGenre(const Config& config, const std::string& stem, int* count,
                           std::string* error);

}  // namespace cantora

#endif
