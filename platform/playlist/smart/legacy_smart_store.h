// The smart playlist stores (store.h) read under the names the gateway's
// platform interface gives them: the playlist handlers call these. New code
// reads the stores through store.h.
#ifndef CANTORA_PLATFORM_PLAYLIST_SMART_LEGACY_SMART_STORE_H
#define CANTORA_PLATFORM_PLAYLIST_SMART_LEGACY_SMART_STORE_H

#include <string>
#include <vector>

#include "platform/playlist/smart/store.h"

// Each reads its store through stores, the request's.
class ZarnAudioUtils {
 public:
  // The names of the store's playlists, in file order; total is set to the
  // number of playlists in the file. file null means the shared store. The
  // two leading numbers are a start and a limit kept for callers of an older
  // interface; 0, 0 means the whole list, and only that is accepted.
  static std::vector<std::string> SmartPLSEnum(cantora::SmartPlaylistStores& stores, int start,
                                               int limit, int& total, const char* file);

  // The name of the shared store's playlist at position (0-based, file
  // order); empty when there is none.
  static std::string SmartPLSGetName(cantora::SmartPlaylistStores& stores, int position);

  // The JSON text of the first playlist of that name in the shared store, or
  // in the given file; empty when there is none.
  static std::string LoadSmartPlsRules(cantora::SmartPlaylistStores& stores,
                                       const std::string& name);
  static std::string LoadSmartPlsRulesByFilename(cantora::SmartPlaylistStores& stores,
                                                 const char* file, const std::string& name);
};

#endif
