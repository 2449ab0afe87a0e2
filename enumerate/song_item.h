// The song item: the JSON object that every song list sends for one record,
// and the admission of records into such a list.
#ifndef CANTORA_ENUMERATE_SONG_ITEM_H
#define CANTORA_ENUMERATE_SONG_ITEM_H

#include <json/json.h>

#include "platform/index/media_info.h"
#include "platform/text/arena.h"

// The 18-member item of one record. All numbers are decimal strings except
// "covercount", a JSON integer. "id" carries the personal prefix when
// library (the ChangeToActualLib result in force) is not "shared" and the
// record lies in a personal library.
//
// The item refers to the record's texts and to numbers formatted into arena
// rather than copying them: the record list and the arena must outlive the
// writing of the answer (handlers free the list after writing, as they must).
Json::Value SongItem(const MediaInfo& info, const char* library, cantora::TextArena* arena);

// The text test of a record (MediaInfoIsValidUtf8); a failure is logged as
// "MediaInfo contains invalid utf8".
bool AdmitRecordText(const MediaInfo& info);

enum class Admission { kAdmitted, kSkipped, kNoRoot };

// Both tests of a record: its file must exist (stat as root, under IF_RUN_AS
// built with guard_line), and its text must pass AdmitRecordText. A missing
// file is skipped silently. kNoRoot when the switch to root failed, logged
// as "<source>:<fail_line> Failed to run as root.".
Admission AdmitSongRecord(const MediaInfo& info, int guard_line, int fail_line);

// Appends the item of every admitted record of list to items, in list
// order. False when the switch to root failed; the items appended until then
// stay.
bool AppendSongItems(const MediaInfo* list, const char* library, int guard_line, int fail_line,
                     cantora::TextArena* arena, Json::Value* items);

// Sets "items" and then "total", the number of items: how every list
// answer ends.
// The items are moved in: a list of thousands of songs is not copied.
void SetItems(Json::Value* answer, Json::Value items);

#endif
