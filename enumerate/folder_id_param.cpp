#include "enumerate/folder_id_param.h"

#include <syslog.h>

#include <vector>

#include "enumerate/enumerate.h"
#include "platform/index/library.h"
#include "platform/index/path_by_id.h"

bool FindFolderIdParam(const char* text, int uid, int form, size_t buffer_size, int personal_line,
                       int shared_line, FolderIdParam* out) {
  std::string id(text);
  if (id.size() > buffer_size - 1) id.resize(buffer_size - 1);
  std::vector<char> path(buffer_size, '\0');
  out->personal = IsPersonalLibraryID(id.c_str()) != 0;
  const char* bare = out->personal ? RemovePersonalLibraryPrefix(id.c_str()) : id.c_str();
  if (bare == nullptr) return false;
  if (ZARNMusicGetPathById(out->personal ? "personal" : "shared", uid, path.data(), path.size(),
                           bare, form) != 0) {
    syslog(LOG_ERR, "%s:%d Get path by Id failed, Id: [%s]", kEnumerateSource,
           out->personal ? personal_line : shared_line, bare);
    return false;
  }
  out->path = path.data();
  return true;
}
