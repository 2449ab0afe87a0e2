// The index's table of stored lyrics (song_lyrics), kept by the indexer.
//
// A song's lyrics come from its tags when it has any there (read with the
// song, tag_lyrics.h); else from a side file beside it with the same stem:
// <stem>.lrc, then <stem>.txt (extensions in any case). An .lrc file is kept
// as it is, time tags and all: players read them. Side files are plain
// files of at most kMaxSideLyricsBytes; a symbolic link is not followed (it
// could name any file of the system, and the indexer runs as root). Text
// that is not UTF-8 is read as Latin-1.
//
// Side files can change while their song does not, so after every run the
// songs without tag lyrics are matched against the side files the run's
// walk found in their folders: a new, changed or removed side file is taken
// into account. Songs below a root that could not be read keep their rows.
#ifndef CANTORA_PLATFORM_INDEXER_SONG_LYRICS_H
#define CANTORA_PLATFORM_INDEXER_SONG_LYRICS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/lib/sqlite/database.h"

namespace cantora {

constexpr size_t kMaxSideLyricsBytes = 1 << 20;

class LyricsWriter {
 public:
  bool Prepare(sqlite::Database& db, std::string* error);

  // Stores the tag lyrics of a song just written. Empty text removes the
  // song's tag lyrics (when it had some: had_row), so a side file may take
  // over at the next SyncSideLyrics.
  bool StoreTagLyrics(int64_t song_id, const std::string& text, bool had_row, std::string* error);

 private:
  sqlite::Statement replace_, remove_;
};

// Whether name is that of a side lyrics file (.lrc or .txt, any case).
bool IsSideLyricsFileName(const std::string& name);

// One side file found by the walk.
struct SideLyricsFile {
  std::string name;
  int64_t mtime = 0;  // nanoseconds
  int64_t size = 0;
};

// What the walk found: for each folder record holding side files, its
// files in byte order of their names. Folders absent here hold none.
using SideLyricsFolders = std::unordered_map<int64_t, std::vector<SideLyricsFile>>;

// Matches the songs without tag lyrics against the side files of their
// folders (see above); the rows of songs whose path lies below one of
// unknown_roots are left as they are, and so are those of songs outside
// only_folders when it is given (a scoped run: the folder records it
// walked). Runs inside the caller's transaction. False with *error when the
// database fails.
bool SyncSideLyrics(sqlite::Database& db, const SideLyricsFolders& walked,
                    const std::vector<std::string>& unknown_roots,
                    const std::unordered_set<int64_t>* only_folders, std::string* error);

}  // namespace cantora

#endif
