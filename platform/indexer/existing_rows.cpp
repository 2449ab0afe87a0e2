#include "platform/indexer/existing_rows.h"

#include <string_view>

namespace cantora {
namespace {

constexpr const char* kSongColumns =
    "SELECT path, id, library, folder_id, mtime, filesize, create_date FROM song";

// The rows of st (kSongColumns).
bool AddSongs(sqlite::Database& db, sqlite::Statement& st, ExistingSongs* songs,
              std::string* error) {
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    const char* path = st.Text(0);
    ExistingSong& s = songs->Add(std::string_view(path, st.Bytes(0)));
    s.id = st.Int(1);
    s.library = st.Int(2);
    s.folder_id = st.Int(3);
    s.mtime = st.Int(4);
    s.filesize = st.Int(5);
    s.create_date = st.Int(6);
  }
  return rc == SQLITE_DONE || db.Fail(error);
}

bool LoadAllSongs(sqlite::Database& db, ExistingSongs* songs, std::string* error) {
  sqlite::Statement count = db.Prepare("SELECT count(*) FROM song", error);
  if (!count.IsValid()) return false;
  if (count.Step() == SQLITE_ROW) songs->Reserve(static_cast<size_t>(count.Int(0)));
  sqlite::Statement st = db.Prepare(kSongColumns, error);
  return st.IsValid() && AddSongs(db, st, songs, error);
}

// A shallow folder's songs, and every song below a deep one (a range of the
// path index).
bool LoadScopeSongs(sqlite::Database& db, const std::vector<ScopeFolder>& scope,
                    ExistingSongs* songs, std::string* error) {
  sqlite::Statement below =
      db.Prepare(std::string(kSongColumns) + " WHERE path > ?1 AND path < ?2", error);
  sqlite::Statement in = db.Prepare(
      std::string(kSongColumns) + " WHERE folder_id = (SELECT id FROM folder WHERE path = ?1)",
      error);
  if (!below.IsValid() || !in.IsValid()) return false;
  for (const ScopeFolder& f : scope) {
    sqlite::Statement& st = f.deep ? below : in;
    st.Reset();
    if (f.deep)
      st.Bind(1, f.path + "/").Bind(2, f.path + "0");  // '0' follows '/'
    else
      st.Bind(1, f.path);
    if (!AddSongs(db, st, songs, error)) return false;
  }
  return true;
}

}  // namespace

bool LoadExistingSongs(sqlite::Database& db, const std::vector<ScopeFolder>* scope,
                       ExistingSongs* songs, std::string* error) {
  return scope != nullptr ? LoadScopeSongs(db, *scope, songs, error)
                          : LoadAllSongs(db, songs, error);
}

bool LoadExistingFolders(sqlite::Database& db, ExistingFolders* folders, std::string* error) {
  sqlite::Statement st =
      db.Prepare("SELECT path, id, library, parent_id, title, covercount FROM folder", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    ExistingFolder& f = (*folders)[st.Text(0)];
    f.id = st.Int(1);
    f.library = st.Int(2);
    f.parent_id = st.Int(3);
    f.title = st.Text(4);
    f.covercount = static_cast<int>(st.Int(5));
  }
  return rc == SQLITE_DONE || db.Fail(error);
}

}  // namespace cantora
