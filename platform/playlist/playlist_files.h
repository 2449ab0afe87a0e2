// Reading and writing playlist files, confined to the playlist stores.
//
// A playlist is read for a user only when its file, every symbolic link
// resolved, ends in .m3u or .m3u8 and lies in one of:
//   - the shared playlist folder (config key shared_playlists),
//   - a shared indexed folder,
//   - the user's personal library, while it is switched on,
//   - the user's own playlist folder <preferences>/<login name>/playlists,
// or is the user's own random playlist <root>/tmp/<login name>==DynaRandom100==.m3u.
// Whatever a client-given name holds ("../", an absolute path, a name cut
// short, a link planted in a store), nothing else is opened.
//
// A playlist is written only into the shared playlist folder, a user's
// playlist folder, or, for a random playlist, the instance's tmp folder
// under the name <valid user name>==DynaRandom100==.m3u, and then only for
// that user or the administrator (PlaylistWriter); a name with that suffix
// goes nowhere else. It is written to a
// new temporary file in the same folder (created exclusively, never through
// a link) and renamed over the old one, so a reader sees the old playlist or
// the new one, never half of one, and a link planted under the final name is
// replaced, not followed.
#ifndef CANTORA_PLATFORM_PLAYLIST_PLAYLIST_FILES_H
#define CANTORA_PLATFORM_PLAYLIST_PLAYLIST_FILES_H

#include <string>
#include <utility>

#include "platform/playlist/random_playlist.h"

namespace cantora {

// On whose behalf a playlist file is written or removed. A signed-in user
// fills and removes only their own random playlist; the administrator
// (cantora-admin) may do so for any valid user name. A writer with neither
// (no user, not the administrator) may touch no random playlist at all.
class PlaylistWriter {
 public:
  static PlaylistWriter User(const std::string& login_name) {
    return PlaylistWriter(login_name, false);
  }
  static PlaylistWriter Administrator() { return PlaylistWriter("", true); }

  // Whether this writer may fill the random playlist of the user owner.
  bool MayWriteRandomPlaylistOf(const std::string& owner) const {
    return administrator_ || (!user_.empty() && owner == user_);
  }

 private:
  PlaylistWriter(std::string user, bool administrator)
      : user_(std::move(user)), administrator_(administrator) {}
  std::string user_;
  bool administrator_;
};

// The text of the playlist at path as the user uid may read it, and the
// folder its relative entries are resolved against (the folder of path as
// given, normalised). False when the file may not be read or is larger than
// 16 MiB.
bool ReadPlaylistFile(int uid, const char* path, std::string* text, std::string* folder);

// Replaces the playlist at path with text (see above). durable: flush it to
// disk before the rename (a created playlist; a random one is not worth it).
bool WritePlaylistFile(const char* path, const std::string& text, bool durable,
                       const PlaylistWriter& writer);

// Removes a random playlist file writer may write; nothing else is ever removed.
void RemoveRandomPlaylistFile(const char* path, const PlaylistWriter& writer);

// "<root>/tmp/<user_name>==DynaRandom100==.m3u" with the tmp folder resolved.
std::string RandomPlaylistFile(const std::string& user_name);

// The login name of a user id; empty when there is none.
std::string UserNameOfId(int uid);

}  // namespace cantora

#endif
