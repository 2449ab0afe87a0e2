#include "platform/index/path_by_id.h"

#include <cstring>
#include <string>

#include "platform/config/platform_db.h"
#include "platform/index/library.h"

namespace {

// The decimal id, or -1 when the text is not one.
int64_t DecimalId(const char* text) {
  if (text == nullptr || *text == '\0' || std::strlen(text) > 18) return -1;
  int64_t value = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return -1;
    value = value * 10 + (*p - '0');
  }
  return value;
}

}  // namespace

int ZARNMusicGetPathById(const char* library, int uid, char* dest, size_t size, const char* id,
                         int /*form*/) {
  if (dest == nullptr || size == 0) return -1;
  dest[0] = '\0';
  int64_t folder = DecimalId(id);
  if (folder < 0) return -1;
  int64_t owner = 0;
  if (cantora::ScopeOfLibrary(library) == cantora::LibraryScope::kPersonal) {
    if (uid <= 0) return -1;  // library 0 is the shared one; no user owns it
    owner = uid;
  }
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  sqlite::Statement st = db->Prepare("SELECT path FROM folder WHERE id = ? AND library = ?");
  if (!st.IsValid()) return -1;
  st.Bind(1, folder).Bind(2, owner);
  if (st.Step() != SQLITE_ROW) return -1;
  const char* path = st.Text(0);
  size_t length = std::strlen(path);
  if (length + 1 > size) return -1;
  std::memcpy(dest, path, length + 1);
  return 0;
}
