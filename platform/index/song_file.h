// The existence test of a song's file: made as root for every song a list
// shows, so it must tell nothing about files outside the music libraries.
//
// A file is looked up from the root of its own library (a shared indexed
// folder, or its owner's personal folder) and never leaves it: ".." and
// symbolic links that lead out are refused (openat2 RESOLVE_BENEATH), and a
// link as the last component counts only when its target lies inside too.
// A path that lies in none of the libraries does not exist.
//
// Lookups start from folder handles (O_PATH) kept for the rest of the
// process: songs of one folder follow each other in a list, and a lookup of
// one name costs a fraction of a whole path's. A handle grants nothing by
// itself: a lookup through it is checked against the ids in force.
#ifndef CANTORA_PLATFORM_INDEX_SONG_FILE_H
#define CANTORA_PLATFORM_INDEX_SONG_FILE_H

#include <map>
#include <string>
#include <vector>

#include "platform/index/media_info.h"

namespace cantora {

// The roots of the libraries: the indexed folders, and the personal folder
// of each owner id. Read from the platform database on first use.
struct LibraryRoots {
  std::vector<std::string> shared;
  std::map<int, std::string> personal;
};

// Replaces the roots in force (tests); forgets the folder handles.
void SetLibraryRoots(const LibraryRoots& roots);

// Finds the library of info's file. Needs no privileges (reads the
// database); false when the path lies in no library, or is not plain (an
// empty component, "." or "..").
bool LocateSongFile(const MediaInfo& info);

// Whether the file last located exists inside its library. Made with the
// privileges that reading the libraries needs (under IF_RUN_AS).
bool LocatedSongFileExists();

// Opens the file last located for reading (O_RDONLY, close-on-exec), by the
// same confinement as LocatedSongFileExists: looked up beneath its library's
// root, a link followed only when its target lies inside the library, and
// only a regular file. -1 when any of that fails. Made with the privileges
// that reading the libraries needs (under IF_RUN_AS); the descriptor then
// reads the file whatever ids are in force later.
int OpenLocatedSongFile();

}  // namespace cantora

#endif
