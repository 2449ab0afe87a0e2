// A song id as the actions that name one indexed song take it: get_cover's
// "music_id" and get_lyrics' "id". Both accept and refuse the same texts, so
// they read them here, once.
#ifndef CANTORA_ENUMERATE_SONG_ID_PARAM_H
#define CANTORA_ENUMERATE_SONG_ID_PARAM_H

#include <string>

struct SongIdParam {
  const char* library;  // "actual_shared", or "actual_personal" for a personal id
  std::string id;       // the id as given, without the personal prefix
};

// Reads text (cut at 4095 bytes, as into the actions' 4096-byte buffers).
// A shared id is taken as it stands: the index's condition grammar and the
// user's scope are what confine it. False, without a log line, for a
// playlist entry id (such an entry lies outside the index) and for a
// personal prefix not followed by digits alone; false for the id "0", logged
// as "<source> (<invalid_line>) Invalid music id.".
bool ParseSongIdParam(const char* text, int invalid_line, SongIdParam* out);

#endif
