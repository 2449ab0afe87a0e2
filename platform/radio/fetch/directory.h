// The SHOUTcast directory, as the radio refresh asks it.
//
// Request: POST Config::shoutcast_url with the form body
//
//   genrename=<the genre's query form>
//
// (the second column of the genre table, already URL-escaped: "Hip%20Hop",
// "RnB"), Content-Type application/x-www-form-urlencoded, Accept
// application/json, a "cantora-radio-fetch/1" User-Agent, and the time-outs
// and size cap Config::radio_connect_timeout, radio_timeout (seconds) and
// radio_max_bytes.
//
// Answer: status 200 and a JSON array of station objects, of which these
// members are read:
//
//   "ID"       number (or decimal text)  the station's directory id
//   "Name"     text                      display name
//   "Bitrate"  number (or decimal text)  kbit/s
//   "Genre"    text                      the station's own genre label
//
// Each becomes a station of the store's file format:
//
//   {"name": Name, "url": Config::shoutcast_tune_url + ID,
//    "desc": Genre, "bitrate": "<Bitrate>"}
//
// with the bit rate as decimal kbit/s text ("0" when unknown). Entries without
// a usable ID or Name are skipped; an empty array is a valid, empty genre.
// Anything else (an empty body, a JSON value that is not an array, an entry
// that is not an object) is a malformed answer.
#ifndef CANTORA_PLATFORM_RADIO_FETCH_DIRECTORY_H
#define CANTORA_PLATFORM_RADIO_FETCH_DIRECTORY_H

#include <json/json.h>

#include <string>

#include "platform/config/config.h"

namespace cantora {

// Asks the directory for the stations of one genre (query form) and fills
// *list with {"stations": [...], "total": N}. False with *error set to one
// line on any failure: transport, time-out, HTTP status other than 200,
// oversized or malformed answer.
bool FetchGenreStations(const Config& config, const std::string& query_form, Json::Value* list,
                        std::string* error);

// The answer-to-list step of FetchGenreStations alone.
bool StationsFromDirectoryAnswer(const std::string& body, const std::string& tune_url,
                                 Json::Value* list, std::string* error);

}  // namespace cantora

#endif
