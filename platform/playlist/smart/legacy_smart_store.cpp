#include "platform/playlist/smart/legacy_smart_store.h"

std::vector<std::string> ZarnAudioUtils::SmartPLSEnum(cantora::SmartPlaylistStores& stores,
                                                      int start, int limit, int& total,
                                                      const char* file) {
  total = 0;
  std::vector<std::string> names;
  if (start != 0 || limit != 0) return names;
  const std::string path = file != nullptr ? file : cantora::SharedSmartPlaylistStorePath();
  for (const cantora::SmartPlaylistEntry& e : stores.Load(path)) names.push_back(e.name);
  total = static_cast<int>(names.size());
  return names;
}

std::string ZarnAudioUtils::SmartPLSGetName(cantora::SmartPlaylistStores& stores, int position) {
  const auto& entries = stores.Load(cantora::SharedSmartPlaylistStorePath());
  if (position < 0 || static_cast<size_t>(position) >= entries.size()) return std::string();
  return entries[static_cast<size_t>(position)].name;
}

std::string ZarnAudioUtils::LoadSmartPlsRules(cantora::SmartPlaylistStores& stores,
                                              const std::string& name) {
  return cantora::SmartPlaylistRules(stores, cantora::SharedSmartPlaylistStorePath(), name);
}

std::string ZarnAudioUtils::LoadSmartPlsRulesByFilename(cantora::SmartPlaylistStores& stores,
                                                        const char* file, const std::string& name) {
  if (file == nullptr) return std::string();
  return cantora::SmartPlaylistRules(stores, file, name);
}
