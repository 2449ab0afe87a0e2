// Request values made safe for the index's condition fragments.
//
// Every value goes between single quotes in a condition, escaped with
// ZARNDBEscapeString into a buffer of twice its length plus one; a value
// that goes inside an ilike pattern is escaped a second time with
// ZARNDBEscapeBackslash into three times that length plus one.
#ifndef CANTORA_ENUMERATE_ESCAPE_PARAM_H
#define CANTORA_ENUMERATE_ESCAPE_PARAM_H

#include <cstdlib>
#include <memory>

struct FreeDeleter {
  void operator()(char* p) const { std::free(p); }
};
// A malloc'd text, freed with free().
using MallocText = std::unique_ptr<char, FreeDeleter>;

// The escaped copy of value, or null when memory ran out, which is logged
// as "<source> (<malloc_line>) Failed to malloc(<bytes>)".
MallocText EscapeParam(const char* value, int malloc_line);

// The pattern-escaped copy of an already escaped value, or null: a failed
// allocation is logged as above with malloc_line, a failed escape as
// "<source> (<escape_line>) Failed to escape condition.".
MallocText EscapePatternParam(const char* escaped, int malloc_line, int escape_line);

// The condition on an artist: both the artist and the album artist, with
// the escaped value twice and a joiner between them.
constexpr const char* kArtistCondition =
    "artist_search = UPPER('%s') %s album_artist_search = UPPER('%s')";

// The joiner of an artist condition: either name matches for a non-empty
// artist; an empty artist finds only songs where both names are empty.
inline const char* ArtistJoiner(const char* artist, const char* either, const char* both) {
  return artist[0] != '\0' ? either : both;
}

#endif
