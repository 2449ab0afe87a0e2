// The benchmark library's additions for folder browsing and lyrics, and the
// queries that time them.
#ifndef CANTORA_BENCH_FOLDER_LYRICS_H
#define CANTORA_BENCH_FOLDER_LYRICS_H

#include <cstddef>
#include <string>

namespace bench {

// Adds to a freshly generated library (before it is indexed again): a
// folder of 50 sub-folders holding one song each and no song of its own,
// and a side .lrc file beside song 0. False with *error.
bool AddFolderAndLyricsCases(const std::string& music, size_t songs, std::string* error);

// The queries of an indexed library: the folder of the 5,000-song artist
// (250 album folders), the folder of 50 sub-folders, the song with stored
// lyrics, and song 1, whose lyrics are put into the search's cache here.
struct FolderLyricsQueries {
  std::string big_artist_folder;  // "folder=<id>"
  std::string fifty_folder;       // "folder=<id>"
  std::string stored_lyrics;      // "id=<id>"
  std::string cached_lyrics;      // "id=<id>"
};
bool FolderAndLyricsQueries(const std::string& config_path, const std::string& music,
                            size_t songs, FolderLyricsQueries* q, std::string* error);

}  // namespace bench

#endif
