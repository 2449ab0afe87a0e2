// The SHOUTcast genre table and what is looked up in it.
#include <syslog.h>

#include <cstring>

#include "platform/config/config.h"
#include "platform/radio/shoutcast_update.h"
#include "platform/radio/store/radiolist.h"

const char* const ShoutcastGenreTable[kShoutcastGenreCount][2] = {
    {"Alternative", "Alternative"},
    {"Blues", "Blues"},
    {"Classical", "Classical"},
    {"Country", "Country"},
    {"Decades", "Decades"},
    {"Easy Listening", "Easy"},
    {"Electronic", "Electronic"},
    {"Folk", "Folk"},
    {"Hip Hop", "Hip%20Hop"},
    {"Rap", "Rap"},
    {"Inspirational", "Inspirational"},
    {"International", "International"},
    {"JPop", "JPop"},
    {"Jazz", "Jazz"},
    {"Latin", "Latin"},
    {"Metal", "Metal"},
    {"New Age", "New%20Age"},
    {"Pop", "Pop"},
    {"R&B", "RnB"},
    {"Urban", "Urban"},
    {"Reggae", "Reggae"},
    {"Rock", "Rock"},
    {"Holiday", "Holiday"},
    {"Soundtracks", "Soundtracks"},
    {"Talk", "Talk"},
    {"Themes", "Themes"},
};

int RadioShoutcastIndexByGenre(const char* genre) {
  if (genre == nullptr) {
    syslog(LOG_ERR, "%s:%d Bad parameter.", kRadioListSource, 173);
    return -1;
  }
  for (unsigned i = 0; i < kShoutcastGenreCount; ++i) {
    if (std::strcmp(genre, ShoutcastGenreTable[i][0]) == 0) return static_cast<int>(i);
  }
  return -1;
}

int RadioShoutcastPathByIndex(unsigned index, std::string& path) {
  if (index > kShoutcastGenreCount - 1) {
    // The bound printed is the row count, one above the last valid index;
    // log watchers match the message as it has always read.
    syslog(LOG_ERR, "%s:%d Bad parameter. Index [%d] out of range [0:%d]", kRadioListSource, 203,
           static_cast<int>(index), static_cast<int>(kShoutcastGenreCount));
    return -1;
  }
  // The display name goes into the file name unescaped, spaces and "&" too.
  path = cantora::ResolveSystemPath(kRadioDirectory) + "/" + cantora::kShoutcastStemPrefix +
         ShoutcastGenreTable[index][0] + ".json";
  return 0;
}

int RadioShoutcastGenreList(Json::Value& out) {
  for (unsigned i = 0; i < kShoutcastGenreCount; ++i) out[i] = ShoutcastGenreTable[i][0];
  return 0;
}
