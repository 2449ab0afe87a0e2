#include "enumerate/song_item.h"

#include <sys/stat.h>
#include <syslog.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "enumerate/enumerate.h"
#include "platform/index/browse.h"
#include "platform/index/library.h"
#include "platform/index/song_file.h"

namespace {

constexpr size_t kScratchSize = 4096;

// Truncated toward zero into a signed 32-bit integer.
int WholeSeconds(float duration) {
  if (std::isnan(duration)) return 0;
  if (duration >= 2147483647.0f) return 2147483647;
  if (duration <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(duration);
}

// The writers below put their text at p, which the caller has made room for,
// and return the end of what they wrote.

template <size_t N>
char* Put(char* p, const char (&literal)[N]) {
  std::memcpy(p, literal, N - 1);
  return p + N - 1;
}

// The decimal digits of value as a JSON string: at most kNumberRoom bytes.
constexpr size_t kNumberRoom = 24;
template <typename Integer>
char* PutNumberString(char* p, Integer value) {
  *p++ = '"';
  p = std::to_chars(p, p + kNumberRoom - 2, value).ptr;
  *p++ = '"';
  return p;
}

// The item's members in JsonCpp's key order, the texts in one pass.
struct ItemTexts {
  std::string_view album, album_artist, artist, comment, composer, genre, id, path, title;
};

// Room for everything but the texts: the member names and punctuation
// (under 200 bytes) and ten numbers.
constexpr size_t kFixedRoom = 200 + 10 * kNumberRoom;

size_t Room(const ItemTexts& t) {
  size_t room = kFixedRoom;
  for (std::string_view text : {t.album, t.album_artist, t.artist, t.comment, t.composer, t.genre,
                                t.id, t.path, t.title})
    room += cantora::JsonStringBound(text.size());
  return room;
}

char* PutItem(char* p, const MediaInfo& info, const ItemTexts& t) {
  using cantora::WriteJsonString;
  p = WriteJsonString(t.album, Put(p, "{\"album\":"));
  p = WriteJsonString(t.album_artist, Put(p, ",\"albumartist\":"));
  p = WriteJsonString(t.artist, Put(p, ",\"artist\":"));
  p = PutNumberString(Put(p, ",\"bitrate\":"), info.bitrate);
  p = PutNumberString(Put(p, ",\"channel\":"), info.channel);
  p = WriteJsonString(t.comment, Put(p, ",\"comment\":"));
  p = WriteJsonString(t.composer, Put(p, ",\"composer\":"));
  p = Put(p, ",\"covercount\":");
  p = std::to_chars(p, p + kNumberRoom, info.covercount).ptr;
  p = PutNumberString(Put(p, ",\"disc\":"), info.disc);
  p = PutNumberString(Put(p, ",\"duration\":"), WholeSeconds(info.duration));
  p = PutNumberString(Put(p, ",\"filesize\":"), static_cast<unsigned long long>(info.filesize));
  p = PutNumberString(Put(p, ",\"frequency\":"), info.frequency);
  p = WriteJsonString(t.genre, Put(p, ",\"genre\":"));
  p = Put(p, ",\"id\":");
  std::memcpy(p, t.id.data(), t.id.size());  // already JSON text
  p += t.id.size();
  p = WriteJsonString(t.path, Put(p, ",\"path\":"));
  p = WriteJsonString(t.title, Put(p, ",\"title\":"));
  p = PutNumberString(Put(p, ",\"track\":"), info.track);
  p = PutNumberString(Put(p, ",\"year\":"), info.year);
  *p++ = '}';
  return p;
}

// The item with id_json, the "id" member's JSON text, written as it is.
void AppendItem(const MediaInfo& info, std::string_view id_json, std::string* out) {
  ItemTexts texts{info.album, info.album_artist, info.artist, info.comment, info.composer,
                  info.genre, id_json, info.path, info.title};
  size_t start = out->size();
  out->resize(start + Room(texts));
  char* end = PutItem(&(*out)[start], info, texts);
  out->resize(end - out->data());
}

}  // namespace

void AppendSongItem(const MediaInfo& info, const char* library, std::string* out) {
  // The id as a JSON string: digits, perhaps after the personal prefix,
  // neither of which needs escaping.
  char id[kScratchSize + 1];
  id[0] = '"';
  char* text = id + 1;
  if (std::strcmp(library, "shared") != 0 && ZARNMusicIsPersonalLibrary(&info)) {
    std::snprintf(text, kScratchSize - 1, "%lu", info.id);
    AddPersonalLibraryPrefix(text, kScratchSize - 1);
  } else {
    *std::to_chars(text, text + kScratchSize - 2, info.id).ptr = '\0';
  }
  size_t length = std::strlen(id);
  id[length] = '"';
  AppendItem(info, std::string_view(id, length + 1), out);
}

void AppendSongItemWithId(const MediaInfo& info, const char* id, std::string* out) {
  std::string id_json(cantora::JsonStringBound(std::strlen(id)), '\0');
  id_json.resize(cantora::WriteJsonString(id, id_json.data()) - id_json.data());
  AppendItem(info, id_json, out);
}

void AppendSongItemWithNumericId(const MediaInfo& info, std::string* out) {
  char id[kNumberRoom];
  char* end = std::to_chars(id, id + sizeof id, info.id).ptr;
  AppendItem(info, std::string_view(id, end - id), out);
}

bool AdmitRecordText(const MediaInfo& info) {
  if (MediaInfoIsValidUtf8(&info)) return true;
  syslog(LOG_ERR, "MediaInfo contains invalid utf8");
  return false;
}

Admission AdmitSongRecord(SongFileTests& tests, const MediaInfo& info, int guard_line,
                          int fail_line) {
  switch (tests.Test(info, guard_line, fail_line)) {
    case FileTest::kNoRoot:
      return Admission::kNoRoot;
    case FileTest::kMissing:
      return Admission::kSkipped;
    case FileTest::kExists:
      break;
  }
  return AdmitRecordText(info) ? Admission::kAdmitted : Admission::kSkipped;
}

bool AppendAdmittedSongItem(SongFileTests& tests, const MediaInfo& info, const char* library,
                            int guard_line, int fail_line, ListAnswer* answer) {
  switch (AdmitSongRecord(tests, info, guard_line, fail_line)) {
    case Admission::kNoRoot:
      return false;
    case Admission::kSkipped:
      break;
    case Admission::kAdmitted:
      AppendSongItem(info, library, answer->NextItem());
      break;
  }
  return true;
}

bool AppendSongList(cantora::SongFiles& files, const char* library, int uid, const char* condition,
                    const char* order, int limit, int guard_line, int fail_line,
                    ListAnswer* answer) {
  sqlite::Database* db = cantora::IndexDatabase();
  if (db == nullptr) return false;
  cantora::BrowseQuery query;
  query.library = library;
  query.uid = uid;
  query.columns = "*";
  query.condition = condition;
  query.order = order;
  query.limit = limit;
  bool admitted = true;
  SongFileTests tests(files);
  int n = cantora::MusicBrowseEach(*db, query, [&](const MediaInfo& info) {
    admitted = AppendAdmittedSongItem(tests, info, library, guard_line, fail_line, answer);
    return admitted;
  });
  return n >= 0 && admitted;
}

bool AppendSongItems(cantora::SongFiles& files, const MediaInfo* list, const char* library,
                     int guard_line, int fail_line, ListAnswer* answer) {
  SongFileTests tests(files);
  for (const MediaInfo* info = list; info != nullptr; info = info->next) {
    if (!AppendAdmittedSongItem(tests, *info, library, guard_line, fail_line, answer)) return false;
  }
  return true;
}
