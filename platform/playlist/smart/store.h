// The smart playlist stores: JSON files of named rule sets.
//
// A store is one file {"playlists": [{"name": "...", ...}, ...]}: the shared
// store is the file named by the configuration key smart_playlists, and each
// user has one at <preferences>/<login name>/playlists/smart.playlist. What an
// entry's rules mean is the rule language's (see rules.h); a store only
// names them and hands out the JSON text of one entry, and is rewritten whole
// by WriteSmartPlaylistStore.
//
// A missing store holds no playlists. A store that cannot be read, or whose
// shape is not the one above (the top is not an object, "playlists" is not an
// array, an entry is not an object with a text "name"), holds no playlists
// either and logs one line naming the file; no request fails because of it.
// The names the gateway's platform interface gives the reading side are in
// legacy_smart_store.h.
#ifndef CANTORA_PLATFORM_PLAYLIST_SMART_STORE_H
#define CANTORA_PLATFORM_PLAYLIST_SMART_STORE_H

#include <list>
#include <string>
#include <vector>

namespace cantora {

struct SmartPlaylistEntry {
  std::string name;
  std::string json;  // the entry's object, written compactly
};

// The stores one request has read, each read once: a request reads one
// store at most twice (a name by position, then its rules), and both see
// the same file. Belongs to the request (the gateway's request context owns
// it), so that the next request reads each store afresh.
class SmartPlaylistStores {
 public:
  // The entries of the store at path (none when it is missing or broken; a
  // broken one is logged once, naming the file).
  const std::vector<SmartPlaylistEntry>& Load(const std::string& path);

 private:
  struct Store {
    std::string path;
    std::vector<SmartPlaylistEntry> entries;
  };
  std::list<Store> stores_;  // a list: references stay valid
};

// The JSON text of the first entry named name in the store at path (read
// through stores); empty when there is none.
std::string SmartPlaylistRules(SmartPlaylistStores& stores, const std::string& path,
                               const std::string& name);

// Reads a store. True with the entries (none for a missing file); false, with
// *error set to one line, when the file cannot be read or has not the shape
// of a store.
bool ReadSmartPlaylistStore(const std::string& path, std::vector<SmartPlaylistEntry>* entries,
                            std::string* error);

// The shared store's path, from the configuration in force.
std::string SharedSmartPlaylistStorePath();

// Writes entries as a store at path: the file is replaced atomically (a new
// file beside it, renamed over it, never written through a link), so that a
// reader sees the old store or the new one. Missing folders above it are
// made (mode 0755). False with *error set to one line; the old store is then
// untouched.
bool WriteSmartPlaylistStore(const std::string& path,
                             const std::vector<SmartPlaylistEntry>& entries, std::string* error);

// The store of a user: <preferences>/<name>/playlists/smart.playlist; empty
// for a name that cannot be a user's.
std::string UserSmartPlaylistStorePath(const std::string& user_name);

}  // namespace cantora

#endif
