#include "enumerate/song_item.h"

#include <sys/stat.h>
#include <syslog.h>

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

Json::Value Number(char* scratch, int value) {
  std::snprintf(scratch, kScratchSize, "%d", value);
  return Json::Value(scratch);
}

}  // namespace

Json::Value SongItem(const MediaInfo& info, const char* library) {
  char scratch[kScratchSize];
  Json::Value item(Json::objectValue);
  item[Json::StaticString("path")] = info.path;
  item[Json::StaticString("title")] = info.title;
  item[Json::StaticString("album")] = info.album;
  item[Json::StaticString("artist")] = info.artist;
  item[Json::StaticString("genre")] = info.genre;
  item[Json::StaticString("duration")] = Number(scratch, WholeSeconds(info.duration));
  item[Json::StaticString("frequency")] = Number(scratch, info.frequency);
  item[Json::StaticString("bitrate")] = Number(scratch, info.bitrate);
  item[Json::StaticString("channel")] = Number(scratch, info.channel);
  std::snprintf(scratch, kScratchSize, "%llu", static_cast<unsigned long long>(info.filesize));
  item[Json::StaticString("filesize")] = scratch;
  item[Json::StaticString("covercount")] = info.covercount;
  std::snprintf(scratch, kScratchSize, "%lu", info.id);
  if (std::strcmp(library, "shared") != 0 && ZARNMusicIsPersonalLibrary(&info)) {
    AddPersonalLibraryPrefix(scratch, kScratchSize);
  }
  item[Json::StaticString("id")] = scratch;
  item[Json::StaticString("albumartist")] = info.album_artist;
  item[Json::StaticString("composer")] = info.composer;
  item[Json::StaticString("year")] = Number(scratch, info.year);
  item[Json::StaticString("track")] = Number(scratch, info.track);
  item[Json::StaticString("disc")] = Number(scratch, info.disc);
  item[Json::StaticString("comment")] = info.comment;
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
                     Json::Value* items) {
  for (const MediaInfo* info = list; info != nullptr; info = info->next) {
    switch (AdmitSongRecord(*info, guard_line, fail_line)) {
      case Admission::kNoRoot:
        return false;
      case Admission::kSkipped:
        break;
      case Admission::kAdmitted:
        items->append(SongItem(*info, library));  // moved in
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
