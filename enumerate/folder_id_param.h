// A folder id as the actions that name one indexed folder take it:
// folder_enum's "folder_id" and get_cover_for_folder's "folder". Both read
// it, and look its folder up, here.
#ifndef CANTORA_ENUMERATE_FOLDER_ID_PARAM_H
#define CANTORA_ENUMERATE_FOLDER_ID_PARAM_H

#include <cstddef>
#include <string>

struct FolderIdParam {
  bool personal = false;  // the id carried the personal prefix
  std::string path;       // the folder's path, in the form asked for
};

// Finds the folder text names for user uid: a shared folder by its id, or,
// with the personal prefix, a folder of uid's own personal library. text is
// cut at buffer_size - 1 bytes and the path must fit in buffer_size bytes, as
// in the action's buffers; form is ZARNMusicGetPathById's (path_by_id.h).
// False, without a log line, for a personal prefix not followed by digits
// alone; false for a folder not found, logged as
// "<source>:<line> Get path by Id failed, Id: [<id>]" with personal_line or
// shared_line.
bool FindFolderIdParam(const char* text, int uid, int form, size_t buffer_size, int personal_line,
                       int shared_line, FolderIdParam* out);

#endif
