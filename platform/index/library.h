// Library names and personal-library song ids.
//
// Library names (the request's "library" parameter) and the index scope that
// ChangeToActualLib gives them:
//
//   "shared"    -> "shared"    the shared libraries (index rows of library 0)
//   "personal"  -> "personal"  the signed-in user's own personal library
//   "all"       -> "all"       both of them
//   "actual_shared", "actual_personal", "actual_all"
//               -> "shared", "personal", "all": the names that callers
//                  already holding an index scope pass on unchanged
//   anything else, and null -> "shared"
//
// An unknown name never widens the scope: it reads as the shared libraries.
// The index (ZARNMusicBrowse) accepts every name above with the same meaning.
//
// Song ids of personal libraries reach the client as "personal_" followed by
// the decimal index id ("personal_42"); shared ids are the bare number.
#ifndef CANTORA_PLATFORM_INDEX_LIBRARY_H
#define CANTORA_PLATFORM_INDEX_LIBRARY_H

#include <cstddef>

#include "platform/index/media_info.h"

// The index scope name for a request's library name (see above). The result
// is a constant string.
const char* ChangeToActualLib(const char* library);

// Non-zero when the record lies in a personal library.
int ZARNMusicIsPersonalLibrary(const MediaInfo* info);

// Puts the personal prefix in front of the id text held in id (a buffer of
// size bytes). Returns 0, or -1 (id unchanged) when the result would not fit.
int AddPersonalLibraryPrefix(char* id, size_t size);

// Non-zero when id carries the personal prefix.
int IsPersonalLibraryID(const char* id);

// The bare id inside a prefixed id: a pointer into id just past the prefix,
// or null unless id is the prefix followed by one or more decimal digits.
const char* RemovePersonalLibraryPrefix(const char* id);

namespace cantora {

// The prefix itself.
extern const char kPersonalLibraryPrefix[];

// Which rows of the index a library name reaches.
enum class LibraryScope { kShared, kPersonal, kAll };
LibraryScope ScopeOfLibrary(const char* library);

}  // namespace cantora

#endif
