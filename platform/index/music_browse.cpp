#include "platform/index/music_browse.h"

#include "platform/index/browse.h"

int ZARNMusicBrowse(const char* library, int uid, int kind, MediaInfo** head, int,
                    const char* columns, const char* condition, const char* grouping,
                    const char* order, int offset, int limit, int mode, int) {
  if (head != nullptr) *head = nullptr;
  sqlite::Database* db = cantora::IndexDatabase();
  if (db == nullptr) return -1;
  cantora::BrowseQuery query;
  query.library = library;
  query.uid = uid;
  query.kind = kind;
  query.columns = columns;
  query.condition = condition;
  query.grouping = grouping;
  query.order = order;
  query.offset = offset;
  query.limit = limit;
  query.mode = mode;
  return cantora::MusicBrowse(*db, query, head);
}
