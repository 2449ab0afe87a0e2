// ZARNWriteMusicPlaylist: a playlist file from song records.
#include "platform/playlist/m3u.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/song_records.h"

namespace {

// The random playlist is rewritten on every request for it: flushing it to
// disk each time would cost more than the request; a lost one is rebuilt.
bool IsRandomPlaylist(const std::string& path) {
  static const std::string kSuffix = "==DynaRandom100==.m3u";
  return path.size() > kSuffix.size() &&
         path.compare(path.size() - kSuffix.size(), kSuffix.size(), kSuffix) == 0;
}

}  // namespace

int ZARNWriteMusicPlaylist(const MediaInfo* list, const char* path) {
  if (path == nullptr) return -1;
  cantora::SongLookup::RememberPaths(list);
  return cantora::WritePlaylistFile(path, cantora::FormatM3u8(list), !IsRandomPlaylist(path)) ? 0
                                                                                              : -1;
}
