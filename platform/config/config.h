// The platform configuration: one file of "key = value" lines.
//
// The file is named by the environment variable CANTORA_CONFIG, else
// /etc/cantora/cantora.conf. Blank lines and lines starting with '#' are
// ignored; unknown keys are ignored so that older programs read newer files.
// A missing default file means "all defaults"; a missing file named by
// CANTORA_CONFIG, or a malformed line, is an error.
#ifndef CANTORA_PLATFORM_CONFIG_CONFIG_H
#define CANTORA_PLATFORM_CONFIG_CONFIG_H

#include <string>

namespace cantora {

struct Config {
  // Prefix under which the gateway's fixed system paths are resolved
  // ("/usr/zarn/etc/radio", "/tmp/...", the texts folder). "/" on a real box.
  std::string root = "/";
  // The platform's SQLite database: accounts, sessions and the music index.
  std::string database = "/var/lib/cantora/cantora.db";
  // Users' home folders; a user's personal library is <homes>/<name>/<personal_folder>.
  std::string homes = "/home";
  std::string personal_folder = "music";
  // Per-user preference folders (playlists and the like).
  std::string preferences = "/var/lib/cantora/preferences";
  // Shared playlists created by clients and administrators (.m3u8 files).
  std::string shared_playlists = "/var/lib/cantora/playlists";
  // The shared smart playlist store: one JSON file.
  std::string smart_playlists = "/var/lib/cantora/smart.playlist";
  // Caches the platform may rebuild at any time (scaled covers, ...).
  std::string cache = "/var/cache/cantora";
  // Folder holding the platform's helper programs (cantora-radio-fetch).
  std::string libexec = "/usr/lib/cantora";
  // Sessions: lifetime in seconds.
  long session_lifetime = 7 * 24 * 3600;
  // Largest request body the CGI framework accepts, in bytes.
  long max_body_bytes = 1 << 20;
  // Internet radio directory.
  std::string shoutcast_url = "https://directory.shoutcast.com/Home/BrowseByGenre";
  std::string shoutcast_tune_url = "http://yp.shoutcast.com/sbin/tunein-station.pls?id=";
  long radio_connect_timeout = 5;
  long radio_timeout = 20;
  long radio_max_bytes = 8 << 20;
  // Lyrics search: a folder of "Artist - Title.lrc" / ".txt" files, then,
  // when lyrics_url is set, a lyrics service of the LRCLIB API's shape
  // (GET <lyrics_url>?artist_name=..&track_name=..). Empty: no service,
  // nothing leaves the machine.
  std::string lyrics_folder = "/var/lib/cantora/lyrics";
  std::string lyrics_url;
  long lyrics_connect_timeout = 3;
  long lyrics_timeout = 8;
  long lyrics_max_bytes = 512 << 10;
  // Covers: the longest side of a scaled cover, in pixels (never enlarged).
  long cover_size = 600;
  // Non-zero when the web server takes "X-Sendfile" from the CGIs (lighttpd's
  // cgi.x-sendfile): files are then handed over by path instead of copied.
  long x_sendfile = 0;
  // The stream CGI's transcoder: the program (run without a shell), how many
  // may run at once on the machine, the bitrate of a transcode nobody chose
  // one for and the largest one a client may ask, in kbit/s.
  std::string ffmpeg = "/usr/bin/ffmpeg";
  long transcode_slots = 4;
  long transcode_bitrate = 192;
  long transcode_max_bitrate = 320;
};

// Parses the file at path into *out (defaults for absent keys).
// Returns false and sets *error to one line on failure.
bool LoadConfigFile(const std::string& path, Config* out, std::string* error);

// Path of the configuration file in force: $CANTORA_CONFIG or the default.
std::string ConfigFilePath();

// The configuration in force, loaded on first use. A broken file is
// logged and leaves the defaults in place, so that a request never reads
// outside the configured instance by accident of a typo: the defaults point
// at the system's own instance. The reference stays valid for the process;
// what it holds changes only in ReloadConfigIfChanged, between requests.
const Config& GetConfig();

// Replaces the configuration in force (tests and tools that take --config);
// it is then kept as it is, whatever the file does.
void SetConfig(const Config& config);

// A process that serves many requests calls this at the start of each: when
// the configuration in force was read from its file and that file has
// changed since (another inode or device, size, modification or change
// time, or it appeared or went), it is read again as on first use. True when it was.
bool ReloadConfigIfChanged();

// Resolves one of the system's fixed absolute paths under the configured root:
// ResolveSystemPath("/usr/zarn/etc/radio") is "<root>/usr/zarn/etc/radio".
std::string ResolveSystemPath(const std::string& fixed_path);

}  // namespace cantora

#endif
