// Songs written straight into the index's song table, for unit tests that
// need rows without running the indexer. Only the fields a test sets are
// written; the others keep the schema's defaults, as for a row the test
// wrote by hand.
#ifndef CANTORA_TESTS_UNIT_SONG_ROWS_H
#define CANTORA_TESTS_UNIT_SONG_ROWS_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/lib/sqlite/database.h"
#include "platform/text/casefold.h"

struct SongRow {
  std::optional<int64_t> id;
  std::optional<int64_t> library;
  std::string path;
  std::optional<std::string> title, album, artist, album_artist, genre, composer, comment,
      artist_sort;
  std::optional<int64_t> year, track, disc, bitrate, filesize, create_date;
  std::optional<double> duration;
  // Also write the indexer's search keys: artist_search and
  // album_artist_search, the folded upper case of artist and album_artist
  // (of "" for one not set).
  bool search_keys = false;
};

// Adds rows to the song table of db. The statement is prepared again only
// when the set of fields changes, so that thousands of alike rows go fast.
class SongRows {
 public:
  explicit SongRows(sqlite::Database* db) : db_(db) {}

  // True when the row was written; else *error (when given) says why.
  bool Add(const SongRow& row, std::string* error = nullptr) {
    std::vector<std::pair<const char*, Value>> fields;
    Collect(row, &fields);
    std::string columns, marks;
    for (const auto& f : fields) {
      columns += (columns.empty() ? "" : ", ") + std::string(f.first);
      marks += marks.empty() ? "?" : ",?";
    }
    if (columns != columns_ || !statement_.IsValid()) {
      statement_ = db_->Prepare("INSERT INTO song(" + columns + ") VALUES (" + marks + ")");
      columns_ = columns;
    }
    if (!statement_.IsValid()) return Fail(error);
    statement_.Rewind();
    int index = 0;
    for (const auto& f : fields)
      std::visit([&](const auto& v) { statement_.Bind(++index, v); }, f.second);
    return statement_.Step() == SQLITE_DONE || Fail(error);
  }

  // Forgets the prepared statement, as before the database is closed.
  void Reset() {
    statement_ = sqlite::Statement();
    columns_.clear();
  }

 private:
  using Value = std::variant<int64_t, double, std::string>;

  static void Collect(const SongRow& r, std::vector<std::pair<const char*, Value>>* out) {
    auto put = [out](const char* name, const auto& value) {
      if (value) out->emplace_back(name, Value(*value));
    };
    put("id", r.id);
    put("library", r.library);
    out->emplace_back("path", Value(r.path));
    put("title", r.title);
    put("album", r.album);
    put("artist", r.artist);
    put("album_artist", r.album_artist);
    put("genre", r.genre);
    put("year", r.year);
    put("track", r.track);
    put("disc", r.disc);
    put("bitrate", r.bitrate);
    put("duration", r.duration);
    put("filesize", r.filesize);
    put("create_date", r.create_date);
    put("composer", r.composer);
    put("comment", r.comment);
    put("artist_sort", r.artist_sort);
    if (r.search_keys) {
      out->emplace_back("artist_search", Value(cantora::FoldUpper(r.artist.value_or(""))));
      out->emplace_back("album_artist_search",
                        Value(cantora::FoldUpper(r.album_artist.value_or(""))));
    }
  }

  bool Fail(std::string* error) {
    if (error != nullptr) *error = db_->ErrorMessage();
    return false;
  }

  sqlite::Database* db_;
  std::string columns_;
  sqlite::Statement statement_;
};

#endif
