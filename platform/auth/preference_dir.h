// A user's preference folder: <preferences>/<login name>, where the user's
// own playlists (playlists/*.m3u) and smart playlists
// (playlists/smart.playlist) are kept.
#ifndef CANTORA_PLATFORM_AUTH_PREFERENCE_DIR_H
#define CANTORA_PLATFORM_AUTH_PREFERENCE_DIR_H

#include <cstddef>
#include <string>

// Writes the preference folder of user_name into dest (size bytes). 0 on
// success; -1 for a name that cannot be a user's (see IsValidUserName: so
// never "..", a "/" or a control character) or a path that does not fit. The
// folder itself may not exist: callers test it.
int ZARNUserPreferenceDirGet(const char* user_name, char* dest, size_t size);

namespace cantora {

// The same as text; empty for a name that cannot be a user's.
std::string UserPreferenceDir(const std::string& user_name);

}  // namespace cantora

#endif
