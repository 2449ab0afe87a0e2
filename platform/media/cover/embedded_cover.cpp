// Embedded pictures are read from the songs by the indexer, which runs with
// the rights to read every library; a request only looks up the index.
#include <string>

#include "platform/config/platform_db.h"
#include "platform/media/cover/cover_cache.h"
#include "platform/media/cover/cover_paths.h"
#include "platform/media/cover/cover_scope.h"

int ZARNAudioGetEmbeddedCoverPath(const cantora::CoverScope& scope, const char* song_path,
                                  char* dest, size_t size) {
  if (song_path == nullptr || dest == nullptr) return -1;
  sqlite::Database* db = cantora::PlatformDatabase();
  if (db == nullptr) return -1;
  sqlite::Statement st = db->Prepare(
      "SELECT c.image FROM song s JOIN song_cover c ON c.song_id = s.id "
      "WHERE s.path = ?1 AND (s.library = 0 OR s.library = ?2)");
  if (!st.IsValid()) return -1;
  st.Bind(1, song_path).Bind(2, scope.uid());
  if (st.Step() != SQLITE_ROW) return -1;
  std::string picture = cantora::EmbeddedCoverPath(st.Text(0));
  return ZARNAudioGetScaleCoverPath(scope, picture.c_str(), picture.c_str(), dest, size);
}
