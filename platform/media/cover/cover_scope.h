// What a cover request may touch: the songs and folders of the shared
// libraries and of the signed-in user's own personal library, the image
// files inside those libraries, and the cover cache. Nothing else is read,
// stat'ed or opened for a cover, whatever path or id the client sent.
//
// A path from outside (a request parameter, an index row, a folder entry)
// is admitted in two steps, so that not even a stat reaches a file outside:
//   1. by its text: absolute, no "." or ".." component, and below one of
//      the allowed folders as configured or as resolved;
//   2. by its real path (realpath, every symbolic link followed): still
//      below one of the allowed folders once resolved. A link that leaves
//      them is refused.
// Songs and folders must moreover be rows of the index that the signed-in
// user may see (library 0, or the user's own id).
//
// A scope belongs to one request: it is made for the user that request
// signed in (the request context makes it on first use) and is destroyed
// with it. The folders it allows are read when it is made.
#ifndef CANTORA_PLATFORM_MEDIA_COVER_COVER_SCOPE_H
#define CANTORA_PLATFORM_MEDIA_COVER_COVER_SCOPE_H

#include <string>
#include <vector>

#include "platform/auth/account.h"

namespace cantora {

class CoverScope {
 public:
  // The scope of user: the shared libraries, and the user's personal
  // library when user.id > 0. A user of id 0 or less (nobody) sees the
  // shared libraries only.
  explicit CoverScope(const User& user);

  // The real path of path when both steps admit it below a music library.
  bool ResolveInLibraries(const std::string& path, std::string* real) const;
  // The real path of path when both steps admit it below the embedded
  // pictures of the cover cache.
  bool ResolveInEmbeddedCovers(const std::string& path, std::string* real) const;

  // True when path is, as written, an indexed song / folder the user may see.
  bool IsVisibleSong(const std::string& path) const;
  bool IsVisibleFolder(const std::string& path) const;

  int uid() const { return uid_; }

 private:
  bool IndexedAndVisible(const char* table, const std::string& path) const;

  int uid_ = -1;
  // Allowed music folders, as configured and as resolved.
  std::vector<std::string> libraries_;
  std::vector<std::string> real_libraries_;
  std::vector<std::string> embedded_;  // likewise for the embedded pictures
  std::vector<std::string> real_embedded_;
};

// True when path is absolute and has no empty, "." or ".." component.
bool IsPlainAbsolutePath(const std::string& path);

// The folder part of a path ("/a/b/c.mp3" -> "/a/b").
std::string ParentFolder(const std::string& path);

}  // namespace cantora

#endif
