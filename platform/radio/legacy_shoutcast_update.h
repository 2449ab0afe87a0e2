// The SHOUTcast refresh under the name the gateway's platform interface gives
// it. Its callers keep this name; the refresh itself is
// cantora::UpdateShoutcastGenre (shoutcast_update.h), where new code goes.
#ifndef CANTORA_PLATFORM_RADIO_LEGACY_SHOUTCAST_UPDATE_H
#define CANTORA_PLATFORM_RADIO_LEGACY_SHOUTCAST_UPDATE_H

#include <string>

#include "platform/radio/shoutcast_update.h"

namespace ZarnAudioUtils {

// cantora::UpdateShoutcastGenre.
inline int RadioUpdateShoutcastByGenre(const std::string& stem) {
  return cantora::UpdateShoutcastGenre(stem);
}

}  // namespace ZarnAudioUtils

#endif
