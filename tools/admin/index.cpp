// cantora-admin folder ... and index: the shared indexed folders and the
// indexing of all libraries.
#include <unistd.h>

#include <cstdio>

#include "platform/config/config.h"
#include "platform/index/indexed_folder.h"
#include "platform/indexer/indexer.h"
#include "platform/indexer/watch/index_lock.h"
#include "tools/admin/command.h"

namespace {

constexpr const char* kFolderUsage =
    "usage: cantora-admin folder add PATH [--name NAME]\n"
    "       cantora-admin folder list\n"
    "       cantora-admin folder del PATH\n"
    "\n"
    "The shared library's indexed folders. NAME is the display name of the\n"
    "folder in folder browsing (default: the folder's own name). Indexed folders\n"
    "must not lie inside one another. Changes reach the index at the next\n"
    "'cantora-admin index', or at once when 'cantora-admin watch' runs.\n";

constexpr const char* kIndexUsage =
    "usage: cantora-admin index [--full] [--json]\n"
    "\n"
    "Indexes the shared folders and every enabled personal library. Only new and\n"
    "changed files are read, unless --full is given; files that are gone leave\n"
    "the index. Prints one summary line; unreadable files are reported on stderr\n"
    "and skipped. With --json, stdout carries one JSON object per line instead:\n"
    "{\"event\":\"progress\",\"seen\":N,\"added\":N,\"updated\":N,\"removed\":N,\n"
    "\"failed\":N} now and then, and {\"event\":\"summary\",...,\"seconds\":S} at the end.\n"
    "One run writes at a time: a run waits for another to end, and is refused\n"
    "while 'cantora-admin watch' keeps the index current.\n";

int FolderAdd(const AdminArgs& args) {
  std::string path, name;
  bool have_name = false;
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--name") {
      if (i + 1 >= args.size()) return Fail("folder add: --name needs a value");
      name = args[++i];
      have_name = true;
    } else if (!args[i].empty() && args[i][0] == '-') {
      return Fail("folder add: unknown option " + args[i]);
    } else if (path.empty()) {
      path = args[i];
    } else {
      return Fail("folder add: one folder only");
    }
  }
  if (path.empty()) return Fail("folder add: which folder? (cantora-admin folder add PATH)");
  if (have_name && name.empty()) return Fail("folder add: the name must not be empty");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error;
  if (!cantora::AddIndexedFolder(db, path, name, &error)) return Fail("folder add: " + error);
  cantora::NotifyIndexWatcher(cantora::GetConfig().database);
  return 0;
}

int FolderList(const AdminArgs& args) {
  if (args.size() > 1) return Fail("folder list: no arguments expected");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::vector<cantora::IndexedFolder> folders;
  std::string error;
  if (!cantora::ListIndexedFolders(db, &folders, &error)) return Fail("folder list: " + error);
  for (const cantora::IndexedFolder& f : folders)
    std::printf("%s\t%s\n", f.path.c_str(), f.name.c_str());
  return 0;
}

int FolderDel(const AdminArgs& args) {
  if (args.size() != 2) return Fail("folder del: which folder? (cantora-admin folder del PATH)");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error;
  if (!cantora::RemoveIndexedFolder(db, args[1], &error)) return Fail("folder del: " + error);
  cantora::NotifyIndexWatcher(cantora::GetConfig().database);
  return 0;
}

int RunFolder(const AdminArgs& args) {
  if (args.empty()) return Fail("folder: add, list or del? (see cantora-admin folder --help)");
  if (args[0] == "add") return FolderAdd(args);
  if (args[0] == "list") return FolderList(args);
  if (args[0] == "del") return FolderDel(args);
  return Fail("folder: unknown command '" + args[0] + "' (see cantora-admin folder --help)");
}

int RunIndex(const AdminArgs& args) {
  cantora::IndexOptions options;
  for (const std::string& a : args) {
    if (a == "--full")
      options.full = true;
    else if (a == "--json")
      options.json = stdout;
    else
      return Fail("index: unknown argument " + a + " (see cantora-admin index --help)");
  }
  options.kind = options.full ? "full" : "index";
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error;
  const std::string& database = cantora::GetConfig().database;
  cantora::IndexLock lock;
  cantora::IndexLockHolder holder;
  if (!lock.TryTake(database, "index", &holder, &error)) {
    if (!holder.held) return Fail("index: " + error);
    if (holder.LiveWatcher())
      return Fail("index: cantora-admin watch (pid " + std::to_string(holder.pid) +
                  ") keeps the index current; stop it to index by hand");
    std::fprintf(stderr, "cantora-admin: index: waiting for the run of pid %ld to end\n",
                 static_cast<long>(holder.pid));
    if (!lock.Take(database, "index", &error)) return Fail("index: " + error);
  }
  options.progress = isatty(STDERR_FILENO) != 0;
  cantora::IndexSummary summary;
  bool ok = cantora::RunIndex(db, options, &summary, &error);
  if (!ok) return Fail("index: " + error);
  if (options.json == nullptr) std::printf("%s\n", cantora::FormatIndexSummary(summary).c_str());
  return 0;
}

AdminCommand folder_command("folder", "the shared library's indexed folders",
                              kFolderUsage, RunFolder);
AdminCommand index_command("index", "index the music libraries", kIndexUsage, RunIndex);

}  // namespace
