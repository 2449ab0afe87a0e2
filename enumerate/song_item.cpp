#include "enumerate/song_item.h"

#include <sys/stat.h>
#include <syslog.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "enumerate/enumerate.h"
#include "enumerate/guard/run_as.h"
#include "platform/index/library.h"

namespace {

constexpr size_t kScratchSize = 4096;

// Truncated toward zero into a signed 32-bit integer.
int WholeSeconds(float duration) {
  if (std::isnan(duration)) return 0;
  if (duration >= 2147483647.0f) return 2147483647;
  if (duration <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(duration);
}

Json::StaticString Text(const char* text) { return Json::StaticString(text); }

template <typename Integer>
Json::StaticString Number(cantora::TextArena* arena, Integer value) {
  char digits[24];
  std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
  return Json::StaticString(arena->Store(std::string_view(digits, r.ptr - digits)));
}

// The members of an item, in the order the handlers set them.
enum Member {
  kPath, kTitle, kAlbum, kArtist, kGenre, kDuration, kFrequency, kBitrate, kChannel, kFilesize,
  kCovercount, kId, kAlbumArtist, kComposer, kYear, kTrack, kDisc, kComment, kMembers
};
constexpr const char* kMemberNames[kMembers] = {
    "path", "title", "album", "artist", "genre", "duration", "frequency", "bitrate", "channel",
    "filesize", "covercount", "id", "albumartist", "composer", "year", "track", "disc", "comment"};

// An item with every member present and null. A new item is a copy of it,
// filled through pointers to its members: a list of thousands of songs then
// never looks a member name up.
struct ItemShape {
  Json::Value empty{Json::objectValue};
  Member member_at[kMembers];  // the member at each position of the object's own order
};

const ItemShape& Shape() {
  static const ItemShape shape = [] {
    ItemShape s;
    for (const char* name : kMemberNames) s.empty[Json::StaticString(name)] = Json::Value();
    int position = 0;
    for (auto it = s.empty.begin(); it != s.empty.end(); ++it, ++position)
      for (int m = 0; m < kMembers; ++m)
        if (it.name() == kMemberNames[m]) s.member_at[position] = static_cast<Member>(m);
    return s;
  }();
  return shape;
}

}  // namespace

Json::Value SongItem(const MediaInfo& info, const char* library, cantora::TextArena* arena) {
  const ItemShape& shape = Shape();
  Json::Value item = shape.empty;
  Json::Value* member[kMembers];
  int position = 0;
  for (auto it = item.begin(); it != item.end(); ++it, ++position)
    member[shape.member_at[position]] = &*it;

  *member[kPath] = Text(info.path);
  *member[kTitle] = Text(info.title);
  *member[kAlbum] = Text(info.album);
  *member[kArtist] = Text(info.artist);
  *member[kGenre] = Text(info.genre);
  *member[kDuration] = Number(arena, WholeSeconds(info.duration));
  *member[kFrequency] = Number(arena, info.frequency);
  *member[kBitrate] = Number(arena, info.bitrate);
  *member[kChannel] = Number(arena, info.channel);
  *member[kFilesize] = Number(arena, static_cast<unsigned long long>(info.filesize));
  *member[kCovercount] = info.covercount;
  if (std::strcmp(library, "shared") != 0 && ZARNMusicIsPersonalLibrary(&info)) {
    char scratch[kScratchSize];
    std::snprintf(scratch, kScratchSize, "%lu", info.id);
    AddPersonalLibraryPrefix(scratch, kScratchSize);
    *member[kId] = Json::StaticString(arena->Store(scratch));
  } else {
    *member[kId] = Number(arena, info.id);
  }
  *member[kAlbumArtist] = Text(info.album_artist);
  *member[kComposer] = Text(info.composer);
  *member[kYear] = Number(arena, info.year);
  *member[kTrack] = Number(arena, info.track);
  *member[kDisc] = Number(arena, info.disc);
  *member[kComment] = Text(info.comment);
  return item;
}

bool AdmitRecordText(const MediaInfo& info) {
  if (MediaInfoIsValidUtf8(&info)) return true;
  syslog(LOG_ERR, "MediaInfo contains invalid utf8");
  return false;
}

Admission AdmitSongRecord(const MediaInfo& info, int guard_line, int fail_line) {
  {
    IF_RUN_AS guard(kEnumerateSource, guard_line);
    if (!guard.ok()) {
      syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, fail_line);
      return Admission::kNoRoot;
    }
    struct stat st;
    if (stat(info.path, &st) != 0) return Admission::kSkipped;
  }
  return AdmitRecordText(info) ? Admission::kAdmitted : Admission::kSkipped;
}

bool AppendSongItems(const MediaInfo* list, const char* library, int guard_line, int fail_line,
                     cantora::TextArena* arena, Json::Value* items) {
  for (const MediaInfo* info = list; info != nullptr; info = info->next) {
    switch (AdmitSongRecord(*info, guard_line, fail_line)) {
      case Admission::kNoRoot:
        return false;
      case Admission::kSkipped:
        break;
      case Admission::kAdmitted:
        items->append(SongItem(*info, library, arena));  // moved in
        break;
    }
  }
  return true;
}

void SetItems(Json::Value* answer, Json::Value items) {
  Json::ArrayIndex total = items.size();
  (*answer)[Json::StaticString("items")] = std::move(items);
  (*answer)[Json::StaticString("total")] = total;
}
