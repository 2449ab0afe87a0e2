// AudioFile: where the music libraries are.
//
// The shared library is the set of indexed folders (see indexed_folder.h),
// read from the process's platform database. A user's personal library is the
// folder <homes>/<user name>/<personal_folder> of the configuration; it is
// indexed only while the user's personal switch is on.
#ifndef CANTORA_PLATFORM_INDEX_AUDIO_FILE_H
#define CANTORA_PLATFORM_INDEX_AUDIO_FILE_H

#include <cstddef>
#include <map>
#include <string>

class AudioFile {
 public:
  // Indexed folder path -> display name, ordered by path. Empty when there
  // are none or the database cannot be read.
  static std::map<std::string, std::string> GetIndexedFolder();

  // Sets condition to an index condition that selects exactly the folder
  // records of the indexed root folders. 0 on success, -1 when there are no
  // indexed folders or they cannot be read.
  static int GetFolderInIndexedFolderCondition(std::string& condition);

  // Writes the user's personal library folder into dest (size bytes, cut
  // when longer). Non-zero on success; 0 for a name that cannot be a user's.
  static int GetPersonalLibraryFolderPath(const char* user_name, char* dest, size_t size);
};

namespace cantora {

// The personal library folder of the named user, from the configuration in
// force. Empty for a name that cannot be a user's.
std::string PersonalLibraryFolder(const std::string& user_name);

}  // namespace cantora

#endif
