// The random playlist: a hundred songs drawn afresh each time a client opens
// it, written for its user to a file in the instance's tmp folder so that
// its entries can be named again (playlist_create). Its id and the name of
// its file are what clients see and keep, so they never change.
#ifndef CANTORA_PLATFORM_PLAYLIST_RANDOM_PLAYLIST_H
#define CANTORA_PLATFORM_PLAYLIST_RANDOM_PLAYLIST_H

#include <string>

namespace cantora {

// Its id in the playlist listings and in playlist_song_enum.
constexpr long kRandomPlaylistId = -3;

// What its file's name ends in: <login name>==DynaRandom100==.m3u.
constexpr char kRandomPlaylistSuffix[] = "==DynaRandom100==.m3u";

// "<tmp_folder><user_name>==DynaRandom100==.m3u": tmp_folder ends in '/'.
std::string RandomPlaylistPath(const std::string& tmp_folder, const std::string& user_name);

// Whether path (or a bare name) ends in the random playlist's suffix: such a
// file is written only as a user's random playlist in tmp.
bool IsRandomPlaylistFileName(const std::string& path);

}  // namespace cantora

#endif
