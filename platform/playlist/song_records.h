// Song records for playlists: the MediaInfo lists that the playlist
// functions answer (ZARNPlaylistParseByPath, ZARNMusicListAll,
// GetMediaListFromMixedIDList), built one record at a time.
//
// A playlist entry is answered from the index record of its file when the
// user may see it (the shared libraries and the user's own personal
// library), else as an unindexed record: id 0, the entry's path, and the
// title, artist and duration its playlist gave (#EXTINF). An unindexed
// record never carries tags of the file itself, so a playlist cannot be used
// to read the tags of a file outside the user's libraries.
#ifndef CANTORA_PLATFORM_PLAYLIST_SONG_RECORDS_H
#define CANTORA_PLATFORM_PLAYLIST_SONG_RECORDS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/index/media_info.h"
#include "platform/index/read_transaction.h"
#include "platform/lib/sqlite/database.h"

namespace cantora {

// A list of records under construction, kept in append order. Owns the
// records until Release(); the destructor frees what was not released.
class MediaInfoList {
 public:
  MediaInfoList() = default;
  ~MediaInfoList() { ZARNPlaylistRecFree(head_); }
  MediaInfoList(const MediaInfoList&) = delete;
  MediaInfoList& operator=(const MediaInfoList&) = delete;

  // Appends one record (its next link is overwritten); null is ignored.
  void Append(MediaInfo* record);
  size_t size() const { return size_; }
  const MediaInfo* head() const { return head_; }
  // Hands the list over (null when empty) and leaves this one empty.
  MediaInfo* Release();

 private:
  MediaInfo* head_ = nullptr;
  MediaInfo** tail_ = &head_;
  size_t size_ = 0;
};

// Holds one read transaction on db for its life, unless one is open already:
// a run of small lookups then takes the database's lock and checks its state
// once, not once per statement.
class ReadSnapshot {
 public:
  explicit ReadSnapshot(sqlite::Database* db);

 private:
  std::optional<ReadTransaction> transaction_;  // none without a database
};

// Reads song records of the index as one user sees them: rows of the shared
// libraries (library 0) and of the user's own personal library (library =
// uid when uid > 0). Statements are prepared once per lookup object, and
// its lookups share one read transaction (ReadSnapshot).
class SongLookup {
 public:
  // On the process's platform database; ok() is false when it cannot be read.
  explicit SongLookup(int uid);
  // On a given connection (tools and tests).
  SongLookup(sqlite::Database* db, int uid);
  SongLookup(const SongLookup&) = delete;
  SongLookup& operator=(const SongLookup&) = delete;

  bool ok() const { return db_ != nullptr; }
  int uid() const { return uid_; }

  // The record of the song at exactly this path, or null when no song the
  // user may see lies there. Every field is filled.
  MediaInfo* ByPath(std::string_view path);

  // Remembers, for this process, the ids of the songs of a list just
  // written to a playlist file: reading that playlist back (the random
  // playlist is written and read in one request) then finds each song by its
  // id, on pages the writer has just read, instead of searching the path
  // index. A hint only: ByPath still answers exactly what it would without it.
  static void RememberPaths(const MediaInfo* list);
  // The record of the song with this index id, or null as above.
  MediaInfo* ById(unsigned long id);

 private:
  MediaInfo* Read(sqlite::Statement& statement);

  sqlite::Database* db_ = nullptr;
  int uid_ = 0;
  sqlite::Statement by_path_, by_id_;
  ReadSnapshot snapshot_;
  MediaInfoAllocator records_;
};

// An entry of a playlist as its file gives it.
struct PlaylistEntry {
  std::string path;    // absolute, "." and ".." resolved as text
  std::string title;   // from #EXTINF, else empty
  std::string artist;  // from #EXTINF ("artist - title"), else empty
  float duration = 0;  // seconds from #EXTINF; 0 when unknown (-1 in the file)
};

// The unindexed record of an entry: id 0, library 0, the entry's path,
// title, artist and duration; null when memory runs out.
MediaInfo* UnindexedEntryRecord(const PlaylistEntry& entry);

// The record of an entry as the user sees it: the index record of its path,
// else the unindexed record.
MediaInfo* EntryRecord(SongLookup* lookup, const PlaylistEntry& entry);

}  // namespace cantora

#endif
