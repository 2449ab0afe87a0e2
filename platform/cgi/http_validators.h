// The validators of a file answer (ETag, Last-Modified) and the request
// conditions that compare with them (If-None-Match, If-Modified-Since,
// If-Range), shared by every CGI that answers a file: covers and songs.
#ifndef CANTORA_PLATFORM_CGI_HTTP_VALIDATORS_H
#define CANTORA_PLATFORM_CGI_HTTP_VALIDATORS_H

#include <sys/stat.h>

#include <string>

namespace cantora {

// The entity tag of a file: its inode, size and modification time, quoted.
// A changed file gets a new tag, even when its size stays.
std::string EntityTag(const struct stat& st);

// True when an If-None-Match list names tag (weakly compared) or is "*".
bool TagListMatches(const char* list, const std::string& tag);

// Whether a GET of the file may answer 304: If-None-Match naming tag, or,
// without If-None-Match, an If-Modified-Since not older than the file.
// Null conditions are absent.
bool NotModified(const char* if_none_match, const char* if_modified_since,
                 const struct stat& st, const std::string& tag);

// Whether an If-Range condition holds for the file: the strong tag itself,
// or an HTTP date equal to the file's Last-Modified. A weak tag never does.
bool IfRangeHolds(const char* if_range, const struct stat& st, const std::string& tag);

}  // namespace cantora

#endif
