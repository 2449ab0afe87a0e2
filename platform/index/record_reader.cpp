#include "platform/index/record_reader.h"

namespace cantora {
namespace {

// The slot of a text field among a new record's texts.
std::string_view* TextSlot(MediaInfoTexts* texts, RecordField field) {
  switch (field) {
    case RecordField::kPath: return &texts->path;
    case RecordField::kTitle: return &texts->title;
    case RecordField::kAlbum: return &texts->album;
    case RecordField::kArtist: return &texts->artist;
    case RecordField::kAlbumArtist: return &texts->album_artist;
    case RecordField::kGenre: return &texts->genre;
    case RecordField::kComposer: return &texts->composer;
    case RecordField::kComment: return &texts->comment;
    default: return nullptr;
  }
}

// Reads the column only for a number field: converting a text column to a
// number would parse it for nothing.
void SetNumber(MediaInfo* info, RecordField field, sqlite3_stmt* stmt, int col) {
  auto integer = [stmt, col] { return sqlite3_column_int(stmt, col); };
  switch (field) {
    case RecordField::kId: info->id = static_cast<unsigned long>(sqlite3_column_int64(stmt, col)); break;
    case RecordField::kLibrary: info->library = integer(); break;
    case RecordField::kTrack: info->track = integer(); break;
    case RecordField::kDisc: info->disc = integer(); break;
    case RecordField::kYear: info->year = integer(); break;
    case RecordField::kDuration: info->duration = static_cast<float>(sqlite3_column_double(stmt, col)); break;
    case RecordField::kBitrate: info->bitrate = integer(); break;
    case RecordField::kFrequency: info->frequency = integer(); break;
    case RecordField::kChannel: info->channel = integer(); break;
    case RecordField::kFilesize: info->filesize = static_cast<uint64_t>(sqlite3_column_int64(stmt, col)); break;
    case RecordField::kCovercount: info->covercount = integer(); break;
    default: break;
  }
}

template <size_t N>
std::vector<Output> OutputsOf(const Column (&columns)[N]) {
  std::vector<Output> outputs;
  outputs.reserve(N);
  for (Column c : columns) outputs.push_back({ColumnName(c), SpecOf(c).field});
  return outputs;
}

}  // namespace

const char* MediaInfo::*TextMember(RecordField field) {
  switch (field) {
    case RecordField::kPath: return &MediaInfo::path;
    case RecordField::kTitle: return &MediaInfo::title;
    case RecordField::kAlbum: return &MediaInfo::album;
    case RecordField::kArtist: return &MediaInfo::artist;
    case RecordField::kAlbumArtist: return &MediaInfo::album_artist;
    case RecordField::kGenre: return &MediaInfo::genre;
    case RecordField::kComposer: return &MediaInfo::composer;
    case RecordField::kComment: return &MediaInfo::comment;
    default: return nullptr;
  }
}

NumberReader NumberMember(RecordField field) {
  using M = const MediaInfo&;
  switch (field) {
    case RecordField::kId: return [](M m) { return static_cast<int64_t>(m.id); };
    case RecordField::kLibrary: return [](M m) { return static_cast<int64_t>(m.library); };
    case RecordField::kTrack: return [](M m) { return static_cast<int64_t>(m.track); };
    case RecordField::kDisc: return [](M m) { return static_cast<int64_t>(m.disc); };
    case RecordField::kYear: return [](M m) { return static_cast<int64_t>(m.year); };
    case RecordField::kDuration: return [](M m) { return static_cast<int64_t>(m.duration); };
    case RecordField::kBitrate: return [](M m) { return static_cast<int64_t>(m.bitrate); };
    case RecordField::kFrequency: return [](M m) { return static_cast<int64_t>(m.frequency); };
    case RecordField::kChannel: return [](M m) { return static_cast<int64_t>(m.channel); };
    case RecordField::kFilesize: return [](M m) { return static_cast<int64_t>(m.filesize); };
    case RecordField::kCovercount: return [](M m) { return static_cast<int64_t>(m.covercount); };
    default: return nullptr;
  }
}

std::vector<Output> SongRecordOutputs() { return OutputsOf(kSongRecordColumns); }
std::vector<Output> FolderRecordOutputs() { return OutputsOf(kFolderRecordColumns); }

RecordField FieldOfColumn(IndexTable table, std::string_view name) {
  Column column;
  if (!ColumnOfName(table, name, &column)) return RecordField::kNone;
  if (table == IndexTable::kFolder) {
    // A folder record carries its id, owner, path, title and cover count.
    for (Column c : kFolderRecordColumns) {
      if (c == column) return SpecOf(c).field;
    }
    return RecordField::kNone;
  }
  return SpecOf(column).field;
}

std::string_view TextColumn(sqlite3_stmt* stmt, int col) {
  const char* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, col));
  return std::string_view(text ? text : "", text ? sqlite3_column_bytes(stmt, col) : 0);
}

MediaInfo* ReadRecord(sqlite3_stmt* stmt, const std::vector<Output>& outputs, bool folder,
                      MediaInfoAllocator* records) {
  MediaInfoTexts texts;
  for (size_t i = 0; i < outputs.size(); ++i) {
    std::string_view* slot = TextSlot(&texts, outputs[i].field);
    if (slot != nullptr) *slot = TextColumn(stmt, static_cast<int>(i));
  }
  if (folder && texts.title.empty()) {
    size_t slash = texts.path.find_last_of('/');
    texts.title = slash == std::string_view::npos ? texts.path : texts.path.substr(slash + 1);
  }
  MediaInfo* info = records->New(texts);
  if (info == nullptr) return nullptr;
  for (size_t i = 0; i < outputs.size(); ++i) {
    SetNumber(info, outputs[i].field, stmt, static_cast<int>(i));
  }
  return info;
}

}  // namespace cantora
