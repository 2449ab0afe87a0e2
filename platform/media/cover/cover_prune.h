// Emptying the cover cache of what nothing uses any more.
#ifndef CANTORA_PLATFORM_MEDIA_COVER_COVER_PRUNE_H
#define CANTORA_PLATFORM_MEDIA_COVER_COVER_PRUNE_H

#include <string>

#include "platform/lib/sqlite/database.h"

namespace cantora {

struct CoverPruneSummary {
  long embedded_removed = 0;
  long scaled_removed = 0;
};

// Removes from the cover cache (cover_cache.h) the embedded pictures that no
// song of db's index shows any more, the scaled copies neither made nor read
// for `days` days (a copy of a source that changed is never read again), and
// temporary files a crashed writer left behind more than a day ago. False
// with one line in *error when the index cannot be read; nothing is removed
// then.
bool PruneCoverCache(sqlite::Database& db, long days, CoverPruneSummary* summary,
                     std::string* error);

}  // namespace cantora

#endif
