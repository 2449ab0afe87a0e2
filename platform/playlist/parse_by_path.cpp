// ZARNPlaylistParseByPath: a page of a playlist's songs.
#include <cstring>

#include "platform/playlist/m3u.h"
#include "platform/playlist/playlist.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/song_records.h"

MediaInfo* ZARNPlaylistParseByPath(int uid, const char* path, int kind, int* count, int start,
                                   int limit, const char* columns, int full) {
  if (count != nullptr) *count = 0;
  if (kind != 0 || full != 1 || (columns != nullptr && std::strcmp(columns, "*") != 0))
    return nullptr;
  std::string text, folder;
  if (!cantora::ReadPlaylistFile(uid, path, &text, &folder)) return nullptr;
  size_t total = 0;
  std::vector<cantora::PlaylistEntry> entries =
      cantora::ParseM3u(text, folder, start, limit, count != nullptr ? &total : nullptr);
  if (count != nullptr) *count = static_cast<int>(total);
  cantora::SongLookup lookup(uid);
  cantora::MediaInfoList list;
  for (const cantora::PlaylistEntry& entry : entries) {
    MediaInfo* record = cantora::EntryRecord(&lookup, entry);
    if (record == nullptr) return nullptr;  // out of memory: the list is freed
    list.Append(record);
  }
  return list.Release();
}
