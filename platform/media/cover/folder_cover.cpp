#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/media/cover/cover_paths.h"
#include "platform/media/cover/cover_scope.h"

namespace {

constexpr const char* kStems[] = {"cover", "folder", "front", "albumart", "album"};
constexpr const char* kExtensions[] = {"jpg", "jpeg", "png", "webp"};

std::string Lower(const std::string& text) {
  std::string out = text;
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

// The preference of a file name (lower is better), or -1 when it names no cover.
int Rank(const std::string& name) {
  const std::string lower = Lower(name);
  int rank = 0;
  for (const char* stem : kStems)
    for (const char* ext : kExtensions) {
      if (lower == std::string(stem) + "." + ext) return rank;
      ++rank;
    }
  return -1;
}

struct Candidate {
  int rank;
  std::string name;
  bool operator<(const Candidate& o) const {
    return rank != o.rank ? rank < o.rank : name < o.name;
  }
};

// The cover names in folder (already admitted), best first.
std::vector<Candidate> CoverNames(const std::string& folder) {
  std::vector<Candidate> found;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return found;
  while (dirent* entry = readdir(dir)) {
    int rank = Rank(entry->d_name);
    if (rank >= 0) found.push_back({rank, entry->d_name});
  }
  closedir(dir);
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

int ZARNAudioGetFolderCoverPath(const cantora::CoverScope& scope, const char* path, char* dest,
                                size_t size) {
  if (path == nullptr || dest == nullptr) return -1;
  std::string folder;
  if (scope.IsVisibleSong(path))
    folder = cantora::ParentFolder(path);
  else if (scope.IsVisibleFolder(path))
    folder = path;
  else
    return -1;
  std::string real_folder;
  if (!scope.ResolveInLibraries(folder, &real_folder)) return -1;
  for (const Candidate& c : CoverNames(real_folder)) {
    std::string image;
    struct stat st;
    if (!scope.ResolveInLibraries(real_folder + "/" + c.name, &image)) continue;
    if (stat(image.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size == 0) continue;
    if (static_cast<size_t>(std::snprintf(dest, size, "%s", image.c_str())) >= size) return -1;
    return 0;
  }
  return -1;
}
