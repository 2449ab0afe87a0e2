// cantora-admin smart ...: the smart playlists of the shared store, or of one
// user's store with --user. Playlists are checked with the rule language's
// own parser before they are stored, so a store only ever receives
// playlists that select songs.
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "platform/auth/account.h"
#include "platform/index/sql_functions.h"
#include "platform/playlist/smart/rules.h"
#include "platform/playlist/smart/songs.h"
#include "platform/playlist/smart/store.h"
#include "tools/admin/command.h"
#include "tools/admin/input.h"

namespace {

constexpr const char* kSmartUsage =
    "usage: cantora-admin smart list [--user NAME]\n"
    "       cantora-admin smart show NAME [--user NAME]\n"
    "       cantora-admin smart add [FILE|-] [--user NAME]\n"
    "       cantora-admin smart del NAME [--user NAME]\n"
    "\n"
    "  list   the playlists, one a line: position, a tab, the name. A shared\n"
    "         playlist's position is the pls_id clients open it by.\n"
    "  show   the songs the playlist selects now (id, artist, album, title,\n"
    "         path, tab-separated), then their count\n"
    "  add    add one playlist object, read from FILE or stdin; it is checked\n"
    "         first and the first error is reported in one line\n"
    "  del    delete the playlist of that name\n"
    "\n"
    "Without --user the shared store (configuration key smart_playlists) is\n"
    "used, and show selects from the shared libraries; with --user NAME, that\n"
    "user's own store (<preferences>/NAME/playlists/smart.playlist), and show\n"
    "selects as the gateway does for that user. The rule language is described\n"
    "in the README.\n";

// The store a command works on.
struct Store {
  std::string path;
  std::string user;  // empty for the shared store
};

// Takes "--user NAME" out of args.
bool TakeUser(AdminArgs* args, std::string* user) {
  for (size_t i = 0; i < args->size(); ++i) {
    if ((*args)[i] != "--user") continue;
    if (i + 1 >= args->size()) return false;
    *user = (*args)[i + 1];
    args->erase(args->begin() + static_cast<long>(i), args->begin() + static_cast<long>(i) + 2);
    return true;
  }
  return true;
}

bool ReadStore(const Store& store, std::vector<cantora::SmartPlaylistEntry>* entries) {
  std::string error;
  if (cantora::ReadSmartPlaylistStore(store.path, entries, &error)) return true;
  Fail("smart: the store " + store.path + " cannot be used: " + error);
  return false;
}

int WriteStore(const Store& store, const std::vector<cantora::SmartPlaylistEntry>& entries) {
  std::string error;
  if (!cantora::WriteSmartPlaylistStore(store.path, entries, &error))
    return Fail("smart: " + error);
  return 0;
}

int List(const Store& store, const AdminArgs& args) {
  if (args.size() != 1) return Fail("smart list: too many arguments");
  std::vector<cantora::SmartPlaylistEntry> entries;
  if (!ReadStore(store, &entries)) return 1;
  for (size_t i = 0; i < entries.size(); ++i)
    std::printf("%zu\t%s\n", i, entries[i].name.c_str());
  return 0;
}

// One field of a tab-separated line: tabs and line ends become spaces.
std::string Cell(const char* text) {
  std::string cell(text);
  for (char& c : cell)
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  return cell;
}

int Show(const Store& store, const AdminArgs& args) {
  if (args.size() != 2) return Fail("smart show: which playlist? (smart show NAME)");
  std::vector<cantora::SmartPlaylistEntry> entries;
  if (!ReadStore(store, &entries)) return 1;
  const cantora::SmartPlaylistEntry* entry = nullptr;
  for (const auto& e : entries)
    if (e.name == args[1]) {
      entry = &e;
      break;
    }
  if (entry == nullptr) return Fail("smart show: no smart playlist named \"" + args[1] + "\"");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  if (!cantora::RegisterIndexFunctions(db.get())) return Fail("smart show: the index functions");
  int uid = 0;
  if (!store.user.empty()) uid = GetUserIdFromName(store.user.c_str());
  MediaInfo* list = nullptr;
  std::string error;
  int count = cantora::SelectSmartPlaylistSongs(db, uid, entry->json, "actual", std::time(nullptr),
                                                &list, &error);
  if (count < 0) return Fail(error);
  for (const MediaInfo* s = list; s != nullptr; s = s->next)
    std::printf("%lu\t%s\t%s\t%s\t%s\n", s->id, Cell(s->artist).c_str(), Cell(s->album).c_str(),
                Cell(s->title).c_str(), Cell(s->path).c_str());
  ZARNPlaylistRecFree(list);
  std::printf("%d song%s\n", count, count == 1 ? "" : "s");
  return 0;
}

int Add(const Store& store, const AdminArgs& args) {
  if (args.size() > 2) return Fail("smart add: too many arguments");
  std::string source = args.size() == 2 ? args[1] : "-";
  std::string text;
  if (!ReadAdminInput(source, &text)) return Fail("smart add: cannot read " + source);
  cantora::SmartPlaylist playlist;
  std::string error;
  if (!cantora::ParseSmartPlaylist(text, &playlist, &error)) return Fail(error);
  std::vector<cantora::SmartPlaylistEntry> entries;
  if (!ReadStore(store, &entries)) return 1;
  for (const auto& e : entries)
    if (e.name == playlist.name)
      return Fail("smart add: a smart playlist named \"" + playlist.name + "\" exists");
  entries.push_back({playlist.name, text});
  return WriteStore(store, entries);
}

int Delete(const Store& store, const AdminArgs& args) {
  if (args.size() != 2) return Fail("smart del: which playlist? (smart del NAME)");
  std::vector<cantora::SmartPlaylistEntry> entries;
  if (!ReadStore(store, &entries)) return 1;
  size_t before = entries.size();
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [&](const auto& e) { return e.name == args[1]; }),
                entries.end());
  if (entries.size() == before)
    return Fail("smart del: no smart playlist named \"" + args[1] + "\"");
  return WriteStore(store, entries);
}

// The store that --user names (it must be a user's), or the shared one.
bool ChooseStore(const std::string& user, Store* store) {
  store->user = user;
  if (user.empty()) {
    store->path = cantora::SharedSmartPlaylistStorePath();
    return true;
  }
  store->path = cantora::UserSmartPlaylistStorePath(user);
  if (store->path.empty() || GetUserIdFromName(user.c_str()) < 0) {
    Fail("smart: no user named \"" + user + "\"");
    return false;
  }
  return true;
}

int RunSmart(const AdminArgs& given) {
  AdminArgs args = given;
  std::string user;
  if (!TakeUser(&args, &user)) return Fail("smart: --user needs a name");
  if (args.empty()) return Fail("smart: which command? (see cantora-admin smart --help)");
  static const struct {
    const char* name;
    int (*run)(const Store&, const AdminArgs&);
  } kCommands[] = {{"list", List}, {"show", Show}, {"add", Add}, {"del", Delete}};
  for (const auto& command : kCommands) {
    if (args[0] != command.name) continue;
    if (!LoadAdminConfig()) return 1;
    Store store;
    if (!ChooseStore(user, &store)) return 1;
    return command.run(store, args);
  }
  return Fail("smart: unknown command '" + args[0] + "' (see cantora-admin smart --help)");
}

AdminCommand smart_command("smart", "list, show, add and delete smart playlists", kSmartUsage,
                           RunSmart);

}  // namespace
