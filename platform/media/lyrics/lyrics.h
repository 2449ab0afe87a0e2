// Lyrics of songs: those stored with the file, and a search by artist and
// title.
#ifndef CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_H
#define CANTORA_PLATFORM_MEDIA_LYRICS_LYRICS_H

#include <string>

// The lyrics stored with the song file at path: in its tags, else in a side
// file beside it (<stem>.lrc, then <stem>.txt). They are read by the indexer
// into the index (platform/indexer/song_lyrics.h), so that this needs no
// tag library and no privilege: it works as the web server's user.
// 1 with *lyrics set; 0 when the song has none; -1 when the file cannot be
// read: it is gone, it is not an indexed song, or the index cannot be read.
int ReadLyrics(const std::string& path, std::string& lyrics);

// Searches lyrics by artist and title (see lyrics_search.h). 1 with *lyrics
// set when found, else 0.
int LyricSearchLyricByArtistAndTitle(const std::string& artist, const std::string& title,
                                     std::string& lyrics);

#endif
