// ZARNWriteMusicPlaylist: a playlist file from song records.
#include "platform/playlist/m3u.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/random_playlist.h"
#include "platform/playlist/song_records.h"

int ZARNWriteMusicPlaylist(const MediaInfo* list, const char* path,
                           const cantora::PlaylistWriter& writer) {
  if (path == nullptr) return -1;
  cantora::SongLookup::RememberPaths(list);
  // The random playlist is rewritten on every request for it: flushing it to
  // disk each time would cost more than the request; a lost one is rebuilt.
  bool durable = !cantora::IsRandomPlaylistFileName(path);
  return cantora::WritePlaylistFile(path, cantora::FormatM3u8(list), durable, writer) ? 0 : -1;
}
