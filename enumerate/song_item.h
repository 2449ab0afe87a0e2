// The song item: the JSON object that every song list sends for one record,
// and the admission of records into such a list.
#ifndef CANTORA_ENUMERATE_SONG_ITEM_H
#define CANTORA_ENUMERATE_SONG_ITEM_H

#include <string>

#include "enumerate/list_answer.h"
#include "enumerate/song_file_tests.h"
#include "platform/index/media_info.h"
#include "platform/index/song_file.h"

// Appends the JSON text of the 18-member item of one record to out. All
// numbers are decimal strings except "covercount", a JSON integer. "id"
// carries the personal prefix when library (the ChangeToActualLib result in
// force) is not "shared" and the record lies in a personal library.
//
// The text is written directly, members in JsonCpp's key order, the very
// bytes a Json::Value of the item would give: a list of thousands of songs
// builds no object per song.
void AppendSongItem(const MediaInfo& info, const char* library, std::string* out);

// The same item with the given "id" text.
void AppendSongItemWithId(const MediaInfo& info, const char* id, std::string* out);
// The same item with "id" as a JSON number, the bare index id, whatever
// library the record lies in: the smart playlist songs' form.
void AppendSongItemWithNumericId(const MediaInfo& info, std::string* out);

// The text test of a record (MediaInfoIsValidUtf8); a failure is logged as
// "MediaInfo contains invalid utf8".
bool AdmitRecordText(const MediaInfo& info);

enum class Admission { kAdmitted, kSkipped, kNoRoot };

// Both tests of a record: its file must exist inside its library (tests.Test,
// as root under IF_RUN_AS built with guard_line; see song_file_tests.h), and
// its text must pass AdmitRecordText. A missing file is skipped silently.
// kNoRoot when the switch to root failed, logged as "<source>:<fail_line>
// Failed to run as root.".
Admission AdmitSongRecord(SongFileTests& tests, const MediaInfo& info, int guard_line,
                          int fail_line);

// Adds the item of info to answer when AdmitSongRecord admits it. False
// when the switch to root failed.
bool AppendAdmittedSongItem(SongFileTests& tests, const MediaInfo& info, const char* library,
                            int guard_line, int fail_line, ListAnswer* answer);

// The songs of condition in order (at most limit; -1: all) from library
// (the ChangeToActualLib result in force) as uid sees it, each admitted
// record's item added to answer as it is read (cantora::MusicBrowseEach):
// a list of a fifth of the library is never held whole. False when the
// browse or the switch to root failed; the items added until then stay.
bool AppendSongList(cantora::SongFiles& files, const char* library, int uid, const char* condition,
                    const char* order, int limit, int guard_line, int fail_line,
                    ListAnswer* answer);

// Adds the item of every admitted record of list to answer, in list order.
// False when the switch to root failed; the items added until then stay.
bool AppendSongItems(cantora::SongFiles& files, const MediaInfo* list, const char* library,
                     int guard_line, int fail_line, ListAnswer* answer);

#endif
