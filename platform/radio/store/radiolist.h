// The radio station store: internet radio station lists kept as JSON files
// under "/usr/zarn/etc/radio" (resolved under the configured root).
//
// Three kinds of list share one file format,
//
//   {"stations": [{"name": .., "url": .., "desc": .., "bitrate": ..}, ...],
//    "total": N}
//
// the position in "stations" being a station's index everywhere. The
// user-defined and favorite lists have fixed files; each SHOUTcast genre has
// a cache file "shoutcast_<display name>.json" that only the platform's
// refresh writes, and that is refreshed before reading once it is a day old.
//
// Functions that can fail return 0 on success and -1 on failure, and log to
// syslog at LOG_ERR as "radiolist:<line> <text>"; the line numbers are part of
// the messages that operators grep for and never change. Quirks that clients
// and scripts have come to rely on are kept and marked where they live.
//
// A loaded list is always an object whose "stations", when present, is an
// array of objects; a file that parses as JSON but not as such a list is
// treated like an unparsable one, so that no caller ever meets a shape it
// cannot index.
#ifndef CANTORA_PLATFORM_RADIO_STORE_RADIOLIST_H
#define CANTORA_PLATFORM_RADIO_STORE_RADIOLIST_H

#include <json/json.h>

#include <string>

// The kind of a station list.
enum tag_ZARN_AUDIORADIO_TYPE {
  ZARN_AUDIORADIO_SHOUTCAST = 0,    // one cache file per genre, no fixed path
  ZARN_AUDIORADIO_USERDEFINED = 1,  // "/usr/zarn/etc/radio/userdef.json"
  ZARN_AUDIORADIO_FAVORITE = 2,     // "/usr/zarn/etc/radio/favorite.json"
};

// Source name of the store's log lines.
extern const char* const kRadioListSource;

// The directory of all station files, before resolution under the root.
extern const char* const kRadioDirectory;

// Cache files older than this many seconds are stale.
constexpr long kRadioCacheMaxAge = 86399;

// The SHOUTcast genres in their fixed order (indexes and the genre list follow
// it): display name, then the directory's own spelling of the genre.
constexpr unsigned kShoutcastGenreCount = 26;
extern const char* const ShoutcastGenreTable[kShoutcastGenreCount][2];

// ---- Exported loaders -------------------------------------------------------

// Loads the user-defined (1) or favorite (2) list into list. An absent or
// unreadable file is an empty list ("stations" [] and "total" 0) and success;
// -1 when the kind has no file or the file does not parse. Bit rates given
// as strings in kbit/s come back as integers in bit/s.
int ZARNAudioRadioGetList(tag_ZARN_AUDIORADIO_TYPE type, Json::Value& list);

// Loads the cached stations of the SHOUTcast genre with this display name
// (exact, case-sensitive), refreshing the cache first when force is non-zero
// or the cache is stale. A failed refresh goes unreported: the old file, if
// any, is read. -1 on an unknown genre or a missing or unparsable cache.
int ZARNAudioRadioGetShoutcastListByGenre(const char* genre, Json::Value& list, int force);

// ---- Genres -------------------------------------------------------------------

// Index of the genre with this display name, or -1 (null logs, no match does not).
int RadioShoutcastIndexByGenre(const char* genre);

// The cache file of genre index; -1 when index is above 25.
int RadioShoutcastPathByIndex(unsigned index, std::string& path);

// Makes out an array of the 26 display names in table order. Always 0.
int RadioShoutcastGenreList(Json::Value& out);

// Loads the cache of genre index (see ZARNAudioRadioGetShoutcastListByGenre).
int RadioShoutcastGetListByIndex(unsigned index, Json::Value& list, int force);

// ---- Files --------------------------------------------------------------------

// The file of a user list kind; -1 (silently) for any kind but 1 and 2.
int RadioListPathByType(tag_ZARN_AUDIORADIO_TYPE type, std::string& path);

// 1 when the file at path was modified more than kRadioCacheMaxAge seconds
// ago, or cannot be examined; 0 when fresh (a time in the future is fresh).
int RadioListIsExpired(const char* path);

// Turns every string "bitrate" (kbit/s) of list["stations"] into an integer in
// bit/s, in place; other values are left alone. A station without "bitrate"
// gains a null one.
void RadioListNormalizeBitrate(Json::Value& list);

// Loads the user list file at path into list: ZARNAudioRadioGetList once it
// has found the path, with the same results and log lines, for callers that
// already hold it.
int RadioListLoad(const std::string& path, Json::Value& list);

// Rewrites the file at path in place with list, styled. When the radio
// directory is missing it is created (one level). -1 on any failure.
int RadioListSave(const char* path, const Json::Value& list);

// ---- Edits of the user lists ------------------------------------------------
//
// The edits report success even when the final save fails (only the log
// tells). A caller that must know passes saved: each edit sets it to whether
// it wrote the list, so it is false after -1, after a failed save, and when
// there was nothing to save.

// out becomes {"name": in["title"], "url": in["url"], "desc": in["desc"]}.
// Input items call the name "title". in must be an object or null.
void RadioStationFromInput(const Json::Value& in, Json::Value& out);

// Appends every element of stations (objects, taken as they are) and sets
// "total". -1 when the kind has no file or the list does not load.
int RadioListAdd(tag_ZARN_AUDIORADIO_TYPE type, const Json::Value& stations,
                 bool* saved = nullptr);

// Sets "desc", "name" and "url" of station index from station (an object).
// An index equal to the station count appends a station holding only those
// three, and "total" is left as it was.
int RadioListUpdate(tag_ZARN_AUDIORADIO_TYPE type, unsigned index, const Json::Value& station,
                    bool* saved = nullptr);

// Deletes the stations named by selection, comma-separated decimal indexes
// in any order. A piece that is not a number names station 0; indexes at or
// beyond the count, and negative ones, name nothing. Kept stations are saved
// with "destroy": null. A selection of no pieces, or an empty list, saves
// nothing and returns 0.
int RadioListDelete(tag_ZARN_AUDIORADIO_TYPE type, const char* selection,
                    bool* saved = nullptr);

// Replaces stations start .. start+count-1 by the input items (each through
// RadioStationFromInput); a count of 0 inserts them before station start, a
// start at or beyond the count appends them.
int RadioListReplace(tag_ZARN_AUDIORADIO_TYPE type, unsigned start, unsigned count,
                     const Json::Value& items, bool* saved = nullptr);

#endif
