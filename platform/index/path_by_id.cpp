#include "platform/index/path_by_id.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/config/platform_db.h"
#include "platform/index/library.h"

int ZARNMusicGetPathById(const char* library, int uid, char* dest, size_t size, const char* id,
                         int mode) {
  (void)mode;
  if (dest == nullptr || id == nullptr || *id == '\0' || std::strlen(id) > 18) return -1;
  for (const char* p = id; *p != '\0'; ++p)
    if (*p < '0' || *p > '9') return -1;
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  // A personal scope without a user sees nothing: library -1 matches no row.
  const int64_t own = uid > 0 ? uid : -1;
  const char* where = "library = 0";
  switch (cantora::ScopeOfLibrary(ChangeToActualLib(library))) {
    case cantora::LibraryScope::kShared: where = "library = 0"; break;
    case cantora::LibraryScope::kPersonal: where = "library = ?2"; break;
    case cantora::LibraryScope::kAll: where = "(library = 0 OR library = ?2)"; break;
  }
  sqlite::Statement st =
      db->Prepare(std::string("SELECT path FROM folder WHERE id = ?1 AND ") + where);
  if (!st.IsValid()) return -1;
  st.Bind(1, static_cast<int64_t>(std::strtoll(id, nullptr, 10)));
  if (std::strstr(where, "?2") != nullptr) st.Bind(2, own);
  if (st.Step() != SQLITE_ROW) return -1;
  if (static_cast<size_t>(std::snprintf(dest, size, "%s", st.Text(0))) >= size) return -1;
  return 0;
}
