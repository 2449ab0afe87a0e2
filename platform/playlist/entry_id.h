// The id of a playlist entry that is not in the index (a file outside the
// libraries, a stream URL): playlist_song_enum hands it out in place of a
// song id, and playlist_create takes it back in its id list to find the
// same entry again. Clients keep these ids, so the form never changes:
//   PLSID_ZARNPLSSPTR_<pls_id>_ZARNPLSSPTR_<personal playlist id>
//   _ZARNPLSSPTR_<personal>_ZARNPLSSPTR_<start>_ZARNPLSSPTR_<limit>
//   _ZARNPLSSPTR_<position>
// (one line, no breaks). The playlist id may itself hold the separator (a
// personal playlist is named by its name), so the five fixed fields are read
// from the end.
#ifndef CANTORA_PLATFORM_PLAYLIST_ENTRY_ID_H
#define CANTORA_PLATFORM_PLAYLIST_ENTRY_ID_H

#include <string>

namespace cantora {

struct PlaylistEntryId {
  std::string pls_id;       // as playlist_song_enum was asked: a number, -3, or a name
  std::string personal_id;  // a personal playlist's id, "0" when there is none
  std::string personal;     // the request's "personal" text as given; "yes" means personal
  long start = 0;           // the page of the playlist the entry was listed in
  long limit = 0;
  long position = 0;  // the entry's place in that page, from 0

  bool IsPersonal() const { return personal == "yes"; }
};

// The entry id of e. ParsePlaylistEntryId gives e back whenever only
// pls_id holds the separator.
std::string FormatPlaylistEntryId(const PlaylistEntryId& e);

// Takes an entry id apart. False, *out unspecified, for anything else: a
// text that is not "PLSID" and at least six more fields, a start, limit or
// position that is not a whole decimal number within a long, or a negative
// position.
bool ParsePlaylistEntryId(const std::string& text, PlaylistEntryId* out);

// Whether text begins like an entry id (its first five characters): the
// actions that take only index ids (get_cover, get_lyrics) refuse it at once.
bool LooksLikePlaylistEntryId(const char* text);

}  // namespace cantora

#endif
