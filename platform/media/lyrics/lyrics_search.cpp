#include "platform/media/lyrics/lyrics_search.h"

#include <dirent.h>

#include <ctime>

#include "platform/media/lyrics/lyrics.h"
#include "platform/media/lyrics/lyrics_cache.h"
#include "platform/process/helper.h"
#include "platform/text/casefold.h"
#include "platform/text/plain_text.h"

namespace cantora {
namespace {

constexpr size_t kMaxFolderLyricsBytes = 1 << 20;

bool FromCache(const Config& config, const std::string& artist, const std::string& title,
               std::string* text, CachedLyrics* state) {
  *state = ReadCachedLyrics(config, artist, title, static_cast<long>(std::time(nullptr)), text);
  return *state == CachedLyrics::kFound;
}

}  // namespace

const char* const kLyricsFetchProgram = "cantora-lyrics-fetch";

bool FindFolderLyrics(const std::string& folder, const std::string& artist,
                      const std::string& title, std::string* text) {
  if (folder.empty()) return false;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return false;
  const std::string wanted = FoldLower(artist + " - " + title);
  // The .lrc wins over the .txt whatever order the folder lists them in.
  std::string found[2];
  while (struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name.size() <= 4 || name[0] == '.') continue;
    std::string folded = FoldLower(name);
    std::string ext = folded.substr(folded.size() - 4);
    int rank = ext == ".lrc" ? 0 : ext == ".txt" ? 1 : -1;
    if (rank < 0 || folded.compare(0, folded.size() - 4, wanted) != 0 ||
        folded.size() - 4 != wanted.size())
      continue;
    if (found[rank].empty() || name < found[rank]) found[rank] = name;
  }
  closedir(dir);
  for (const std::string& name : found) {
    if (!name.empty() && ReadPlainTextFile(folder + "/" + name, kMaxFolderLyricsBytes, text) &&
        !text->empty())
      return true;
  }
  return false;
}

}  // namespace cantora

int LyricSearchLyricByArtistAndTitle(const std::string& artist, const std::string& title,
                                     std::string& lyrics) {
  if (artist.empty() && title.empty()) return 0;
  const cantora::Config& config = cantora::GetConfig();
  std::string text;
  if (cantora::FindFolderLyrics(config.lyrics_folder, artist, title, &text)) {
    lyrics = text;
    return 1;
  }
  cantora::CachedLyrics state;
  if (cantora::FromCache(config, artist, title, &text, &state)) {
    lyrics = text;
    return 1;
  }
  if (state == cantora::CachedLyrics::kMissing || config.lyrics_url.empty()) return 0;
  std::string program = cantora::HelperProgramPath(cantora::kLyricsFetchProgram);
  if (program.empty()) return 0;
  cantora::RunHelper(program, {artist, title}, "lyrics");
  if (!cantora::FromCache(config, artist, title, &text, &state)) return 0;
  lyrics = text;
  return 1;
}
