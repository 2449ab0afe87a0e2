// The whole lists of names of the shared libraries (every artist, every
// album, every genre), kept by a resident process from one request to the
// next.
//
// Such a list is the same for everybody who browses the shared libraries
// and changes only with the index, yet reading and writing it anew is most
// of what artist_enum, album_enum and genre_enum cost on a big library (a
// million songs: 25,000 artists, 100,000 albums). A resident process keeps
// the answer's items as they were written, under three rules:
//   - Lists of the shared libraries alone. A list that includes a personal
//     library is never kept, so nothing of one user reaches the next.
//   - Lists that turned no name away. A name that is not UTF-8 is logged at
//     every request that meets it, as a process that kept nothing would.
//   - Valid for one state of the index: a list is used again only while the
//     database stamp it was read under (platform_db.h, PlatformDatabaseStamp:
//     the connection and its data_version) is the one in force, so an
//     indexing run, an administrator's change or a new connection is seen
//     by the very next request. The stamp is taken before the list is read,
//     so a commit that lands while it is read makes it stale at once.
// A CGI process answers one request and keeps nothing (Keep does nothing
// until KeepSharedNameLists is called).
#ifndef CANTORA_ENUMERATE_SHARED_NAME_LISTS_H
#define CANTORA_ENUMERATE_SHARED_NAME_LISTS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/config/platform_db.h"

enum class SharedNameList { kArtists, kAlbums, kGenres };

// The items of one answer: the JSON text between "items":[ and ], and how
// many there are.
struct NameItems {
  std::string text;
  size_t count = 0;
};

// From now on lists are kept (a resident process, at its start).
void KeepSharedNameLists();
// Whether they are: false in a CGI, which then need not stamp what it reads.
bool KeepingSharedNameLists();

// The list kept under stamp, or null.
const NameItems* FindSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp);

// Keeps items, moved in, as the list read under stamp (taken before the
// reading began), replacing what was kept of that list, and returns the
// kept copy. Null, and items left as they are, when lists are not kept.
const NameItems* KeepSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp,
                                    NameItems&& items);

// Drops every list kept (the index changed; tests).
void ForgetSharedNameLists();

#endif
