// The columns of the index's song and folder tables, written once.
//
// The song table is created from kSongColumns (schema.cpp), in this order:
// a column's position is its enum value. The fragment grammar accepts these
// names, the query reads the record fields from them, the playlists read
// song records by them and the smart playlist rules name them.
#ifndef CANTORA_PLATFORM_INDEX_SONG_COLUMNS_H
#define CANTORA_PLATFORM_INDEX_SONG_COLUMNS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cantora {

// Every column a fragment may name: the song table's in their positions,
// then the folder table's own.
enum class Column : uint8_t {
  kId, kLibrary, kPath, kFolderId, kTitle, kAlbum, kArtist, kAlbumArtist, kGenre, kComposer,
  kComment, kTrack, kDisc, kYear, kDuration, kBitrate, kFrequency, kChannel, kFilesize,
  kCovercount, kArtistSort, kArtistSearch, kAlbumArtistSearch, kCreateDate, kMtime,
  // folder only
  kParentId
};

constexpr size_t kSongColumnCount = static_cast<size_t>(Column::kMtime) + 1;

// The index tables that queries may name columns of.
enum class IndexTable { kSong, kFolder };

enum class ColumnType : uint8_t { kInteger, kReal, kText };

// The field of a song record (MediaInfo) a column fills; kNone for the
// columns a record does not carry.
enum class RecordField : uint8_t {
  kNone, kId, kLibrary, kPath, kTrack, kDisc, kYear, kTitle, kAlbum, kArtist, kAlbumArtist,
  kGenre, kComposer, kComment, kDuration, kBitrate, kFrequency, kChannel, kFilesize, kCovercount
};

struct ColumnSpec {
  Column column;
  const char* name;
  ColumnType type;
  RecordField field;
  const char* declaration;  // the rest of its definition in CREATE TABLE
};

// The song table, one entry per column in position order.
extern const ColumnSpec kSongColumns[kSongColumnCount];

const ColumnSpec& SpecOf(Column column);
const char* ColumnName(Column column);

// The column called name (lower case) in table; false when there is none.
bool ColumnOfName(IndexTable table, std::string_view name, Column* column);

// The columns a whole record is read from, in the order of its fields
// (MediaInfo): every field of a song record, and those of a folder record.
constexpr size_t kSongRecordColumnCount = 19;
constexpr size_t kFolderRecordColumnCount = 5;
extern const Column kSongRecordColumns[kSongRecordColumnCount];
extern const Column kFolderRecordColumns[kFolderRecordColumnCount];

// "id, library, path, ..." of kSongRecordColumns, for a SELECT.
const char* SongRecordColumnList();

// The column definitions of the song table, "id INTEGER PRIMARY KEY,\n  ...".
const char* SongTableColumns();

}  // namespace cantora

#endif
