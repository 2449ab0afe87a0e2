// The platform's refresh of one SHOUTcast genre cache.
//
// The fetch itself lives in the helper program cantora-radio-fetch, so that
// the statically linked CGIs that trigger a refresh carry no HTTP or TLS
// library: this side only finds the helper, runs it without a shell and
// waits for it. The name the gateway's interface gives the refresh is in
// legacy_shoutcast_update.h.
#ifndef CANTORA_PLATFORM_RADIO_SHOUTCAST_UPDATE_H
#define CANTORA_PLATFORM_RADIO_SHOUTCAST_UPDATE_H

#include <string>

namespace cantora {

// Name of the helper program.
extern const char* const kRadioFetchProgram;

// What the name of every SHOUTcast genre cache file starts with: a file's
// stem is this prefix followed by the genre's display name, unescaped
// ("shoutcast_Hip Hop"). The store, the helper and the admin tool all spell
// file names through it, so that they always agree.
constexpr char kShoutcastStemPrefix[] = "shoutcast_";

// The display name that follows the prefix in stem, or "" when stem does not
// start with the prefix or is nothing more. Whether the name is a known genre
// is the caller's question.
std::string ShoutcastGenreOfStem(const std::string& stem);

// Where the helper is looked for: Config::libexec, else the folder of the
// running program (a build tree, or an installation that keeps its programs
// together). Empty when neither holds an executable helper.
std::string RadioFetchProgramPath();

// Refreshes the cache file "<radio dir>/<stem>.json", stem being "shoutcast_"
// followed by a genre's display name. The helper inherits the environment
// (and so CANTORA_CONFIG) and stderr; its stdout goes to our stderr, never
// into a CGI's answer. Returns the helper's exit status (0 when the file was
// replaced), or -1 when the stem is not a genre stem or the helper could not
// be run or died of a signal. A failure leaves the old file untouched.
int UpdateShoutcastGenre(const std::string& stem);

}  // namespace cantora

#endif
