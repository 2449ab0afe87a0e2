// ZARNMusicGetPathById: the path of a folder record of the index, by its id.
#ifndef CANTORA_PLATFORM_INDEX_PATH_BY_ID_H
#define CANTORA_PLATFORM_INDEX_PATH_BY_ID_H

#include <cstddef>

// Writes the path of the folder record whose id is the decimal text id into
// dest (size bytes). library is "shared" (records of the shared folders) or
// "personal" (records of uid's own personal library); any other name reads
// as shared, so another user's folders are never found.
//
// form 1 asks for the path in the form the folder listing's conditions take,
// 0 for the plain path to open. The index takes the listing's conditions by
// folder identity (folder_condition.h), so both are the folder's stored
// path, canonical and unescaped.
//
// 0 on success; -1 for an id that is not decimal digits, a record that is
// not in that library, a path that does not fit (never cut: a cut path
// names another folder), or an index that cannot be read.
int ZARNMusicGetPathById(const char* library, int uid, char* dest, size_t size, const char* id,
                         int form);

#endif
