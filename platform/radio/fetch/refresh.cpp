#include "platform/radio/fetch/refresh.h"

#include <json/json.h>

#include "platform/file/atomic_file.h"
#include "platform/radio/fetch/directory.h"
#include "platform/radio/shoutcast_update.h"
#include "platform/radio/store/radiolist.h"

namespace cantora {

bool RefreshShoutcastGenre(const Config& config, const std::string& stem, int* count,
                           std::string* error) {
  const std::string genre = cantora::ShoutcastGenreOfStem(stem);
  int index = genre.empty() ? -1 : RadioShoutcastIndexByGenre(genre.c_str());
  if (index < 0) {
    *error = "not a SHOUTcast genre: " + stem;
    return false;
  }
  std::string path;
  if (RadioShoutcastPathByIndex(static_cast<unsigned>(index), path) != 0) {
    *error = "no cache file for " + stem;
    return false;
  }
  Json::Value list;
  if (!FetchGenreStations(config, ShoutcastGenreTable[index][1], &list, error)) return false;
  Json::StyledWriter writer;
  if (!ReplaceFileAtomically(path, writer.write(list), error)) return false;
  *count = static_cast<int>(list["stations"].size());
  return true;
}

}  // namespace cantora
