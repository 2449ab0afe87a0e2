#include "platform/index/audio_file.h"

#include <cstdio>
#include <vector>

#include "platform/auth/users/users_table.h"
#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/escape.h"
#include "platform/index/indexed_folder.h"

namespace cantora {

std::string PersonalLibraryFolder(const std::string& user_name) {
  if (!IsValidUserName(user_name)) return "";
  const Config& config = GetConfig();
  std::string homes = config.homes;
  while (homes.size() > 1 && homes.back() == '/') homes.pop_back();
  return homes + "/" + user_name + "/" + config.personal_folder;
}

}  // namespace cantora

namespace {

bool ReadFolders(std::vector<cantora::IndexedFolder>* folders) {
  sqlite::Database* db = cantora::PlatformDatabase();
  std::string error;
  return db != nullptr && cantora::ListIndexedFolders(*db, folders, &error);
}

// Quotes text as an SQL string literal.
std::string Quoted(const std::string& text) {
  std::string out;
  cantora::AppendQuoted(text, '\'', &out);
  return out;
}

}  // namespace

std::map<std::string, std::string> AudioFile::GetIndexedFolder() {
  std::map<std::string, std::string> map;
  std::vector<cantora::IndexedFolder> folders;
  if (ReadFolders(&folders))
    for (const cantora::IndexedFolder& f : folders) map[f.path] = f.name;
  return map;
}

int AudioFile::GetFolderInIndexedFolderCondition(std::string& condition) {
  std::vector<cantora::IndexedFolder> folders;
  if (!ReadFolders(&folders) || folders.empty()) return -1;
  condition = "path IN (";
  for (size_t i = 0; i < folders.size(); ++i) {
    if (i > 0) condition += ", ";
    condition += Quoted(folders[i].path);
  }
  condition += ")";
  return 0;
}

int AudioFile::GetPersonalLibraryFolderPath(const char* user_name, char* dest, size_t size) {
  if (user_name == nullptr || dest == nullptr || size == 0) return 0;
  std::string path = cantora::PersonalLibraryFolder(user_name);
  if (path.empty()) return 0;
  std::snprintf(dest, size, "%s", path.c_str());
  return 1;
}
