// ZARNMusicBrowse: the gateway's legacy query entry of the music index, a
// C-style call the handlers keep using with their conditions as text. A thin
// adapter over cantora::MusicBrowse (browse.h) on the process's index
// connection; its name and arguments are the gateway's contract.
//
//   ZARNMusicBrowse(library, uid, kind, &head, 0, columns, condition,
//                   grouping, order, offset, limit, mode, 0)
//
// library  a library name (library.h); it selects the rows the query may see:
//          the shared libraries, the personal library of uid, or both. The
//          condition is evaluated only inside those rows.
// kind     0: song records; 4: folder records (path, title = the folder's
//          name).
// columns  "*", null or "": every field; else a list of column names; the
//          fields not listed are left empty (0 or "").
// condition, grouping, order: fragments in PostgreSQL's dialect
//          (fragment.h); null or blank means none. The folder listing's
//          conditions are matched by folder identity (folder_condition.h).
// offset, limit: paging; a negative limit means no limit.
// mode     0: the rows (or, with a grouping, one record per group, the
//          group's values in their fields and the first one also in the
//          title field: a genre grouping delivers the genre as title).
//          1: the distinct artists, in artist sort order (artist and title
//          fields). 2: the newest distinct albums, by the creation date of
//          their newest song, newest first (album and title fields).
//          Modes 1 and 2 have their own order; the order argument is not used.
//
// Returns the number of records (>= 0) and stores the list in *head (null
// when empty; free it with ZARNPlaylistRecFree), or a negative number when
// the query is refused or fails (*head is then null).
#ifndef CANTORA_PLATFORM_INDEX_MUSIC_BROWSE_H
#define CANTORA_PLATFORM_INDEX_MUSIC_BROWSE_H

#include "platform/index/media_info.h"

int ZARNMusicBrowse(const char* library, int uid, int kind, MediaInfo** head, int,
                    const char* columns, const char* condition, const char* grouping,
                    const char* order, int offset, int limit, int mode, int);

#endif
