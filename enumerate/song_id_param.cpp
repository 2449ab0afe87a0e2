#include "enumerate/song_id_param.h"

#include <syslog.h>

#include "enumerate/enumerate.h"
#include "platform/index/library.h"
#include "platform/playlist/entry_id.h"

namespace {

constexpr size_t kMaxIdBytes = 4095;

}  // namespace

bool ParseSongIdParam(const char* text, int invalid_line, SongIdParam* out) {
  std::string id(text);
  if (id.size() > kMaxIdBytes) id.resize(kMaxIdBytes);
  if (cantora::LooksLikePlaylistEntryId(id.c_str())) return false;
  out->library = "actual_shared";
  out->id = id;
  if (IsPersonalLibraryID(id.c_str())) {
    const char* bare = RemovePersonalLibraryPrefix(id.c_str());
    if (bare == nullptr) return false;
    out->library = "actual_personal";
    out->id = bare;
  }
  if (out->id == "0") {
    syslog(LOG_ERR, "%s (%d) Invalid music id.", kEnumerateSource, invalid_line);
    return false;
  }
  return true;
}
