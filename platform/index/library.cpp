#include "platform/index/library.h"

#include <cstring>

namespace cantora {

const char kPersonalLibraryPrefix[] = "personal_";

namespace {

struct LibraryName {
  const char* name;
  LibraryScope scope;
};

const LibraryName kLibraryNames[] = {
    {"shared", LibraryScope::kShared},
    {"personal", LibraryScope::kPersonal},
    {"all", LibraryScope::kAll},
    {"actual_shared", LibraryScope::kShared},
    {"actual_personal", LibraryScope::kPersonal},
    {"actual_all", LibraryScope::kAll},
};

constexpr size_t kPrefixLength = sizeof(kPersonalLibraryPrefix) - 1;

}  // namespace

LibraryScope ScopeOfLibrary(const char* library) {
  if (library != nullptr) {
    for (const LibraryName& entry : kLibraryNames) {
      if (std::strcmp(library, entry.name) == 0) return entry.scope;
    }
  }
  return LibraryScope::kShared;
}

}  // namespace cantora

const char* ChangeToActualLib(const char* library) {
  switch (cantora::ScopeOfLibrary(library)) {
    case cantora::LibraryScope::kPersonal:
      return "personal";
    case cantora::LibraryScope::kAll:
      return "all";
    case cantora::LibraryScope::kShared:
      break;
  }
  return "shared";
}

int ZARNMusicIsPersonalLibrary(const MediaInfo* info) {
  return info != nullptr && info->library != 0;
}

int AddPersonalLibraryPrefix(char* id, size_t size) {
  size_t length = std::strlen(id);
  if (length + cantora::kPrefixLength + 1 > size) return -1;
  std::memmove(id + cantora::kPrefixLength, id, length + 1);
  std::memcpy(id, cantora::kPersonalLibraryPrefix, cantora::kPrefixLength);
  return 0;
}

int IsPersonalLibraryID(const char* id) {
  return id != nullptr &&
         std::strncmp(id, cantora::kPersonalLibraryPrefix, cantora::kPrefixLength) == 0;
}

const char* RemovePersonalLibraryPrefix(const char* id) {
  if (!IsPersonalLibraryID(id)) return nullptr;
  const char* bare = id + cantora::kPrefixLength;
  if (*bare == '\0') return nullptr;
  for (const char* p = bare; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return nullptr;
  }
  return bare;
}
