// cantora-admin lyrics ...: the lyrics the index holds, and the search.
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "platform/media/lyrics/lyrics.h"
#include "tools/admin/command.h"

namespace {

constexpr const char* kLyricsUsage =
    "usage: cantora-admin lyrics list\n"
    "       cantora-admin lyrics show FILE\n"
    "       cantora-admin lyrics search ARTIST TITLE\n"
    "\n"
    "list: the indexed songs that have stored lyrics, with where they come from\n"
    "(tags, lrc or txt: a side file beside the song). show: the stored lyrics of\n"
    "one indexed song file. search: what the lyrics search finds for an artist\n"
    "and title (the lyrics folder, the cache, then lyrics_url when set). Lyrics\n"
    "stored with songs are read by 'cantora-admin index'.\n";

const char* SourceName(int64_t source) {
  switch (source) {
    case 0: return "tags";
    case 1: return "lrc";
    case 2: return "txt";
    default: return "?";
  }
}

int List(const AdminArgs& args) {
  if (args.size() != 1) return Fail("lyrics list: no arguments expected");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error;
  sqlite::Statement st = db.Prepare(
      "SELECT s.path, l.source FROM song_lyrics l JOIN song s ON s.id = l.song_id ORDER BY s.path",
      &error);
  if (!st.IsValid()) return Fail("lyrics list: " + error);
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) std::printf("%s\t%s\n", SourceName(st.Int(1)), st.Text(0));
  if (rc != SQLITE_DONE) return Fail(std::string("lyrics list: ") + db.ErrorMessage());
  return 0;
}

int Show(const AdminArgs& args) {
  if (args.size() != 2) return Fail("lyrics show: which file? (cantora-admin lyrics show FILE)");
  if (!LoadAdminConfig()) return 1;
  // The index holds canonical paths.
  char real[PATH_MAX];
  std::string path = realpath(args[1].c_str(), real) != nullptr ? real : args[1];
  std::string text;
  switch (ReadLyrics(path, text)) {
    case 1:
      std::printf("%s%s", text.c_str(), text.empty() || text.back() == '\n' ? "" : "\n");
      return 0;
    case 0:
      return Fail("lyrics show: " + path + " has no stored lyrics");
    default:
      return Fail("lyrics show: " + path + " is not an indexed song");
  }
}

int Search(const AdminArgs& args) {
  if (args.size() != 3) return Fail("lyrics search: ARTIST and TITLE, please");
  if (!LoadAdminConfig()) return 1;
  std::string text;
  if (LyricSearchLyricByArtistAndTitle(args[1], args[2], text) != 1)
    return Fail("lyrics search: nothing found for " + args[1] + " - " + args[2]);
  std::printf("%s%s", text.c_str(), text.empty() || text.back() == '\n' ? "" : "\n");
  return 0;
}

int RunLyrics(const AdminArgs& args) {
  if (args.empty()) return Fail("lyrics: list, show or search? (see cantora-admin lyrics --help)");
  if (args[0] == "list") return List(args);
  if (args[0] == "show") return Show(args);
  if (args[0] == "search") return Search(args);
  return Fail("lyrics: unknown command '" + args[0] + "' (see cantora-admin lyrics --help)");
}

AdminCommand lyrics_command("lyrics", "stored lyrics and the lyrics search", kLyricsUsage,
                            RunLyrics);

}  // namespace
