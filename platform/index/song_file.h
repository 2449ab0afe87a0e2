// The existence test of a song's file: made as root for every song a list
// shows, so it must tell nothing about files outside the music libraries.
//
// A file is looked up from the root of its own library (a shared indexed
// folder, or its owner's personal folder) and never leaves it: ".." and
// symbolic links that lead out are refused (openat2 RESOLVE_BENEATH), and a
// link as the last component counts only when its target lies inside too.
// A path that lies in none of the libraries does not exist.
//
// Lookups start from folder handles kept by a SongFiles object: songs of
// one folder follow each other in a list, and a lookup of one name costs a
// fraction of a whole path's; when three or more songs of a folder are
// tested in a row, the folder's entries are read once through its handle
// instead, at the first of them when the list shows them coming. A song
// alone in its folder is looked up by its whole path beneath the root, its
// folder not held: most folders of a search's hits hold one hit. A lookup
// through a handle is checked against the ids in force; what a handle
// opened as root grants beyond that, listing that one folder's names, is
// used only inside the same privileged calls. A SongFiles belongs to one
// request (the gateway's request context owns it): the roots it read and
// the handles it holds go with it, so that a process serving many requests
// sees each indexing run and each new library, and holds no folder open
// between requests.
#ifndef CANTORA_PLATFORM_INDEX_SONG_FILE_H
#define CANTORA_PLATFORM_INDEX_SONG_FILE_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/index/media_info.h"

namespace cantora {

// The roots of the libraries: the indexed folders, and the personal folder
// of each owner id.
struct LibraryRoots {
  std::vector<std::string> shared;
  std::map<int, std::string> personal;
};

class SongFiles {
 public:
  // Roots read from the platform database on first use.
  SongFiles();
  // These roots and no others: a library not among them has none, and the
  // database is never read (tests; a SongFiles that works on another
  // thread, given the roots of its records by RootsOf).
  explicit SongFiles(const LibraryRoots& roots);
  ~SongFiles();
  SongFiles(const SongFiles&) = delete;
  SongFiles& operator=(const SongFiles&) = delete;

  // Finds the library of info's file. Needs no privileges (reads the
  // database); false when the path lies in no library, or is not plain (an
  // empty component, "." or "..").
  //
  // The records that follow info in its list (info.next, which must be
  // null or a valid list) are taken as the songs tested next: those of the
  // same folder decide how the folder is looked into. Only the time taken
  // depends on it; the answers are the same whatever follows.
  bool Locate(const MediaInfo& info);

  // Whether the file last located exists inside its library. Made with the
  // privileges that reading the libraries needs (under IF_RUN_AS).
  bool LocatedExists();

  // Opens the file last located for reading (O_RDONLY, close-on-exec), by
  // the same confinement as LocatedExists: looked up beneath its library's
  // root, a link followed only when its target lies inside the library, and
  // only a regular file. -1 when any of that fails. Made with the
  // privileges that reading the libraries needs (under IF_RUN_AS); the
  // descriptor then reads the file whatever ids are in force later.
  int OpenLocated();

  // Whether a and b name files of one folder of one library: songs that a
  // list's order keeps together, and that are looked up together here.
  static bool SameFolder(const MediaInfo& a, const MediaInfo& b);

  // The roots this SongFiles knows, those of the libraries of the records
  // from first up to (not including) end among them: read now when they
  // were not (from the database). What another thread's SongFiles needs to
  // test those records without the database, which stays this thread's.
  LibraryRoots RootsOf(const MediaInfo* first, const MediaInfo* end);

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace cantora

#endif
