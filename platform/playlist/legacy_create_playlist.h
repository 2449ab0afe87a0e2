// Playlist creation under the name the gateway's platform interface gives
// it (playlist_create calls it). The creation itself is
// cantora::CreateEmptyPlaylist (playlist.h), where new code goes.
#ifndef CANTORA_PLATFORM_PLAYLIST_LEGACY_CREATE_PLAYLIST_H
#define CANTORA_PLATFORM_PLAYLIST_LEGACY_CREATE_PLAYLIST_H

#include <string>

// cantora::CreateEmptyPlaylist for owner (a login name), who must also have
// an account. *path receives the new file. Non-zero on success; 0 (nothing
// created) for an owner without an account and wherever
// cantora::CreateEmptyPlaylist refuses.
int IPhoneCreateEmptyPlaylist(const std::string& name, std::string& path, const std::string& owner,
                              bool shared);

#endif
