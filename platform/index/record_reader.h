// Records (MediaInfo) read from a statement's row: the one place that knows
// which column fills which field. The query's executors and the playlists'
// song lookups (platform/playlist/song_records.h) read records through it.
#ifndef CANTORA_PLATFORM_INDEX_RECORD_READER_H
#define CANTORA_PLATFORM_INDEX_RECORD_READER_H

#include <sqlite3.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/index/media_info.h"
#include "platform/index/song_columns.h"

namespace cantora {

// One column of a statement's result and the field it fills.
struct Output {
  std::string expr;
  RecordField field;
};

// The outputs of a whole song record (every field) or folder record.
std::vector<Output> SongRecordOutputs();
std::vector<Output> FolderRecordOutputs();

// The field the column fills in a record of table; RecordField::kNone for
// a column no record carries.
RecordField FieldOfColumn(IndexTable table, std::string_view column);

// The record's member that holds a text field, or null for a number field.
const char* MediaInfo::*TextMember(RecordField field);
// The reader of a number field, or null for a text field or none.
using NumberReader = int64_t (*)(const MediaInfo&);
NumberReader NumberMember(RecordField field);

// The text of a column ("" for null), valid until the statement steps.
std::string_view TextColumn(sqlite3_stmt* stmt, int col);

// The record of the statement's row, whose columns are outputs, in order.
// A folder record without a title is called by the last part of its path.
// Null when memory runs out.
MediaInfo* ReadRecord(sqlite3_stmt* stmt, const std::vector<Output>& outputs, bool folder,
                      MediaInfoAllocator* records);

}  // namespace cantora

#endif
