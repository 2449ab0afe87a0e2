#include "platform/index/schema.h"

#include "platform/auth/users/users_table.h"
#include "platform/index/song_columns.h"

namespace cantora {
namespace {

constexpr const char* kIndexSchema = R"sql(
-- The song table is made before, from its columns (song_columns.h).
CREATE INDEX IF NOT EXISTS song_album ON song(library, album);
CREATE INDEX IF NOT EXISTS song_artist ON song(library, artist_search);
CREATE INDEX IF NOT EXISTS song_album_artist ON song(library, album_artist_search);
CREATE INDEX IF NOT EXISTS song_genre ON song(library, genre);
CREATE INDEX IF NOT EXISTS song_folder ON song(folder_id);
-- The order every song list asks for, path included; a search for a common
-- word walks it and stops at the thousandth match instead of sorting every
-- match. Without the path SQLite would still sort each run of songs with the
-- same album, disc and track, and a sort started a thousand times costs
-- more than the larger index.
CREATE INDEX IF NOT EXISTS song_order ON song(library, lower(album), disc, track, path);

CREATE TABLE IF NOT EXISTS folder (
  id INTEGER PRIMARY KEY,
  library INTEGER NOT NULL DEFAULT 0,
  path TEXT NOT NULL UNIQUE,
  parent_id INTEGER NOT NULL DEFAULT 0,
  title TEXT NOT NULL DEFAULT '',
  covercount INTEGER NOT NULL DEFAULT 0,
  create_date INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS folder_parent ON folder(library, parent_id);

CREATE TABLE IF NOT EXISTS facet (
  kind INTEGER NOT NULL,
  library INTEGER NOT NULL,
  value TEXT NOT NULL,
  sort_key TEXT NOT NULL,
  newest INTEGER NOT NULL DEFAULT 0,
  songs INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (kind, library, value)
) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS facet_sort ON facet(kind, library, sort_key, value);
CREATE INDEX IF NOT EXISTS facet_newest ON facet(kind, library, newest DESC, value);

CREATE VIRTUAL TABLE IF NOT EXISTS song_fts USING fts5(
  title, album, artist, album_artist,
  content='', detail=none, tokenize='trigram case_sensitive 1');

CREATE TRIGGER IF NOT EXISTS song_fts_insert AFTER INSERT ON song BEGIN
  INSERT INTO song_fts(rowid, title, album, artist, album_artist)
  VALUES (new.id, fold(new.title), fold(new.album), fold(new.artist), fold(new.album_artist));
END;
CREATE TRIGGER IF NOT EXISTS song_fts_delete AFTER DELETE ON song BEGIN
  INSERT INTO song_fts(song_fts, rowid, title, album, artist, album_artist)
  VALUES ('delete', old.id, fold(old.title), fold(old.album), fold(old.artist), fold(old.album_artist));
END;
CREATE TRIGGER IF NOT EXISTS song_fts_update AFTER UPDATE OF title, album, artist, album_artist ON song BEGIN
  INSERT INTO song_fts(song_fts, rowid, title, album, artist, album_artist)
  VALUES ('delete', old.id, fold(old.title), fold(old.album), fold(old.artist), fold(old.album_artist));
  INSERT INTO song_fts(rowid, title, album, artist, album_artist)
  VALUES (new.id, fold(new.title), fold(new.album), fold(new.artist), fold(new.album_artist));
END;

-- Each library's song ids in the song lists' order (lower(album), disc,
-- track, path), in chunks of 8-byte little-endian ids (song_walk.h). A change
-- of a song that could move it drops its library's chunks: rows present are
-- exact, a library without rows is walked through song_order instead.
CREATE TABLE IF NOT EXISTS song_walk (
  library INTEGER NOT NULL,
  chunk INTEGER NOT NULL,
  ids BLOB NOT NULL,
  PRIMARY KEY (library, chunk)
) WITHOUT ROWID;
CREATE TRIGGER IF NOT EXISTS song_walk_insert AFTER INSERT ON song BEGIN
  DELETE FROM song_walk WHERE library = new.library;
END;
CREATE TRIGGER IF NOT EXISTS song_walk_delete AFTER DELETE ON song BEGIN
  DELETE FROM song_walk WHERE library = old.library;
END;
CREATE TRIGGER IF NOT EXISTS song_walk_update AFTER UPDATE OF library, album, disc, track, path ON song BEGIN
  DELETE FROM song_walk WHERE library IN (old.library, new.library);
END;

CREATE TABLE IF NOT EXISTS indexed_folder (
  path TEXT PRIMARY KEY,
  name TEXT NOT NULL
);

-- Lyrics stored with songs, read by the indexer: from the file's tags, else
-- from a side file beside it (<stem>.lrc, then <stem>.txt). source: 0 tags,
-- 1 .lrc, 2 .txt; side_stamp tells a side file's change (mtime and size).
CREATE TABLE IF NOT EXISTS song_lyrics (
  song_id INTEGER PRIMARY KEY,
  source INTEGER NOT NULL,
  side_stamp INTEGER NOT NULL DEFAULT 0,
  text TEXT NOT NULL
);
CREATE TRIGGER IF NOT EXISTS song_lyrics_delete AFTER DELETE ON song BEGIN
  DELETE FROM song_lyrics WHERE song_id = old.id;
END;

-- A folder's sub-folders in the order the folder browse lists them, with
-- every column it reads: a folder of thousands of sub-folders is read in
-- order from the index alone, never sorted.
CREATE INDEX IF NOT EXISTS folder_listing ON folder(library, parent_id, title, path, covercount);
-- Covers: the picture shown for a song that embeds one, as the name of its
-- file in the cover cache; songs carrying the same picture share the file.
CREATE TABLE IF NOT EXISTS song_cover (
  song_id INTEGER PRIMARY KEY,
  image TEXT NOT NULL
);
CREATE TRIGGER IF NOT EXISTS song_cover_delete AFTER DELETE ON song BEGIN
  DELETE FROM song_cover WHERE song_id = old.id;
END;
-- Playlist files (.m3u, .m3u8) of the libraries and of the shared playlist
-- folder; "name" is the file's stem. AUTOINCREMENT: an id once given is never
-- given to another file, so a client holding an old id opens nothing else.
CREATE TABLE IF NOT EXISTS playlist (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  library INTEGER NOT NULL DEFAULT 0,
  path TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL
);
CREATE INDEX IF NOT EXISTS playlist_library ON playlist(library, name);

-- Smart playlists. Their default order (artist, album, disc, track, path)
-- with and without one genre, and the date a song entered the index: a
-- playlist of one genre, or of recent songs, or of a rule no index serves,
-- walks one of these and stops at its limit instead of sorting every match.
CREATE INDEX IF NOT EXISTS song_smart_order
  ON song(library, lower(artist), lower(album), disc, track, path);
CREATE INDEX IF NOT EXISTS song_smart_genre
  ON song(library, genre, lower(artist), lower(album), disc, track, path);
CREATE INDEX IF NOT EXISTS song_created ON song(library, create_date);

-- One row: whether the facets lag behind the songs (facets.h).
CREATE TABLE IF NOT EXISTS index_state (facets_stale INTEGER NOT NULL DEFAULT 0);
INSERT INTO index_state(facets_stale) SELECT 0 WHERE NOT EXISTS (SELECT 1 FROM index_state);

-- Indexing runs that finished (index_status.h), the last thousand.
CREATE TABLE IF NOT EXISTS index_run (
  id INTEGER PRIMARY KEY,
  started INTEGER NOT NULL,
  seconds REAL NOT NULL,
  kind TEXT NOT NULL,
  seen INTEGER NOT NULL,
  added INTEGER NOT NULL,
  updated INTEGER NOT NULL,
  removed INTEGER NOT NULL,
  failed INTEGER NOT NULL
);
-- Files that could not be read, with the reason, until they change or go:
-- an unchanged one is not read again.
CREATE TABLE IF NOT EXISTS index_failure (
  path TEXT PRIMARY KEY,
  mtime INTEGER NOT NULL,
  filesize INTEGER NOT NULL,
  reason TEXT NOT NULL,
  at INTEGER NOT NULL
);
)sql";

// A user's personal library leaves the index in the very statement that
// deletes the user or switches the library off: no listing shows it after,
// and no later account can inherit it. The playlist files of that library go
// with it. The accounts make the triggers, where they live in this database.
constexpr const char* kPersonalLibraryRows = R"sql(  DELETE FROM song WHERE library = old.id;
  DELETE FROM folder WHERE library = old.id;
  DELETE FROM facet WHERE library = old.id;
)sql";
constexpr const char* kPersonalPlaylistRows = R"sql(  DELETE FROM playlist WHERE library = old.id;
)sql";

// The schema's version, kept in the database's user_version. Version 2 put
// the path into song_order; version 3 added index_run and index_failure
// (made by the schema's own IF NOT EXISTS).
constexpr int kIndexSchemaVersion = 3;

bool ReadSchemaVersion(sqlite::Database& db, int64_t* version, std::string* error) {
  sqlite::Statement read = db.Prepare("PRAGMA user_version", error);
  if (!read.IsValid() || read.Step() != SQLITE_ROW) return false;
  *version = read.Int(0);
  return true;
}

}  // namespace

bool CreateIndexSchema(sqlite::Database& db, std::string* error) {
  int64_t found = 0;
  if (!ReadSchemaVersion(db, &found, error)) return false;
  // An index whose definition changed is dropped, and made anew below.
  if (found < 2 && !db.Exec("DROP INDEX IF EXISTS song_order", error)) return false;
  return db.Exec(std::string("CREATE TABLE IF NOT EXISTS song (\n") + SongTableColumns() + "\n);",
                 error) &&
         db.Exec(kIndexSchema, error) &&
         DropWithPersonalLibrary(db, "personal_library", kPersonalLibraryRows, error) &&
         DropWithPersonalLibrary(db, "personal_playlists", kPersonalPlaylistRows, error) &&
         db.Exec("PRAGMA user_version = " + std::to_string(kIndexSchemaVersion), error);
}

}  // namespace cantora
