// What one query of the music index asks (browse.h answers it).
#ifndef CANTORA_PLATFORM_INDEX_BROWSE_QUERY_H
#define CANTORA_PLATFORM_INDEX_BROWSE_QUERY_H

#include "platform/index/query.h"

namespace cantora {

enum BrowseKind { kBrowseSongs = 0, kBrowseFolders = 4 };
enum BrowseMode { kBrowseRows = 0, kBrowseArtists = 1, kBrowseNewestAlbums = 2 };

struct BrowseQuery {
  const char* library = "shared";
  int uid = 0;
  int kind = kBrowseSongs;
  const char* columns = nullptr;
  // The condition and order as text in the fragment dialect (fragment.h),
  // as the gateway's handlers write them; null or blank means none.
  const char* condition = nullptr;
  const char* grouping = nullptr;
  const char* order = nullptr;
  // The same as trees (query.h), as the platform builds them; each, when
  // set, takes the place of its text. The caller keeps them alive.
  const Expr* where = nullptr;
  const OrderBy* order_by = nullptr;
  int offset = 0;
  int limit = -1;
  int mode = kBrowseRows;
  // Whether the facet table may answer whole-library listings. MusicBrowse
  // sets it from the index: an indexing run that was cut short leaves its
  // songs committed and its facets stale, and listings then group the songs.
  bool facets_current = true;
};

}  // namespace cantora

#endif
