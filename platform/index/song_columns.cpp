#include "platform/index/song_columns.h"

#include <string>

namespace cantora {

const ColumnSpec kSongColumns[kSongColumnCount] = {
    {Column::kId, "id", ColumnType::kInteger, RecordField::kId, "INTEGER PRIMARY KEY"},
    {Column::kLibrary, "library", ColumnType::kInteger, RecordField::kLibrary,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kPath, "path", ColumnType::kText, RecordField::kPath, "TEXT NOT NULL UNIQUE"},
    {Column::kFolderId, "folder_id", ColumnType::kInteger, RecordField::kNone,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kTitle, "title", ColumnType::kText, RecordField::kTitle, "TEXT NOT NULL DEFAULT ''"},
    {Column::kAlbum, "album", ColumnType::kText, RecordField::kAlbum, "TEXT NOT NULL DEFAULT ''"},
    {Column::kArtist, "artist", ColumnType::kText, RecordField::kArtist,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kAlbumArtist, "album_artist", ColumnType::kText, RecordField::kAlbumArtist,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kGenre, "genre", ColumnType::kText, RecordField::kGenre, "TEXT NOT NULL DEFAULT ''"},
    {Column::kComposer, "composer", ColumnType::kText, RecordField::kComposer,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kComment, "comment", ColumnType::kText, RecordField::kComment,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kTrack, "track", ColumnType::kInteger, RecordField::kTrack,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kDisc, "disc", ColumnType::kInteger, RecordField::kDisc, "INTEGER NOT NULL DEFAULT 0"},
    {Column::kYear, "year", ColumnType::kInteger, RecordField::kYear, "INTEGER NOT NULL DEFAULT 0"},
    {Column::kDuration, "duration", ColumnType::kReal, RecordField::kDuration,
     "REAL NOT NULL DEFAULT 0"},
    {Column::kBitrate, "bitrate", ColumnType::kInteger, RecordField::kBitrate,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kFrequency, "frequency", ColumnType::kInteger, RecordField::kFrequency,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kChannel, "channel", ColumnType::kInteger, RecordField::kChannel,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kFilesize, "filesize", ColumnType::kInteger, RecordField::kFilesize,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kCovercount, "covercount", ColumnType::kInteger, RecordField::kCovercount,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kArtistSort, "artist_sort", ColumnType::kText, RecordField::kNone,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kArtistSearch, "artist_search", ColumnType::kText, RecordField::kNone,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kAlbumArtistSearch, "album_artist_search", ColumnType::kText, RecordField::kNone,
     "TEXT NOT NULL DEFAULT ''"},
    {Column::kCreateDate, "create_date", ColumnType::kInteger, RecordField::kNone,
     "INTEGER NOT NULL DEFAULT 0"},
    {Column::kMtime, "mtime", ColumnType::kInteger, RecordField::kNone,
     "INTEGER NOT NULL DEFAULT 0"},
};

namespace {

const ColumnSpec kParentIdSpec = {Column::kParentId, "parent_id", ColumnType::kInteger,
                                  RecordField::kNone, "INTEGER NOT NULL DEFAULT 0"};

// The folder table's columns (schema.cpp).
const Column kFolderColumns[] = {Column::kId,    Column::kLibrary,    Column::kPath,
                                 Column::kParentId, Column::kTitle, Column::kCovercount,
                                 Column::kCreateDate};

}  // namespace

const ColumnSpec& SpecOf(Column column) {
  return column == Column::kParentId ? kParentIdSpec : kSongColumns[static_cast<size_t>(column)];
}

const char* ColumnName(Column column) { return SpecOf(column).name; }

bool ColumnOfName(IndexTable table, std::string_view name, Column* column) {
  if (table == IndexTable::kSong) {
    for (const ColumnSpec& spec : kSongColumns) {
      if (name == spec.name) {
        *column = spec.column;
        return true;
      }
    }
    return false;
  }
  for (Column c : kFolderColumns) {
    if (name == ColumnName(c)) {
      *column = c;
      return true;
    }
  }
  return false;
}

const Column kSongRecordColumns[kSongRecordColumnCount] = {
    Column::kId,       Column::kLibrary,     Column::kPath,     Column::kTrack,
    Column::kDisc,     Column::kYear,        Column::kTitle,    Column::kAlbum,
    Column::kArtist,   Column::kAlbumArtist, Column::kGenre,    Column::kComposer,
    Column::kComment,  Column::kDuration,    Column::kBitrate,  Column::kFrequency,
    Column::kChannel,  Column::kFilesize,    Column::kCovercount};

const Column kFolderRecordColumns[kFolderRecordColumnCount] = {
    Column::kId, Column::kLibrary, Column::kPath, Column::kTitle, Column::kCovercount};

const char* SongRecordColumnList() {
  static const std::string list = [] {
    std::string s;
    for (Column c : kSongRecordColumns) s += (s.empty() ? "" : ", ") + std::string(ColumnName(c));
    return s;
  }();
  return list.c_str();
}

const char* SongTableColumns() {
  static const std::string columns = [] {
    std::string s;
    for (const ColumnSpec& c : kSongColumns) {
      if (!s.empty()) s += ",\n";
      s += "  " + std::string(c.name) + " " + c.declaration;
    }
    return s;
  }();
  return columns.c_str();
}

}  // namespace cantora
