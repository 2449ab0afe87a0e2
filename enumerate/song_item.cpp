#include "enumerate/song_item.h"

#include <sys/stat.h>
#include <syslog.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

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

// The decimal digits of value as a JSON string.
template <typename Integer>
void AppendNumberString(Integer value, std::string* out) {
  char digits[24];
  std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
  out->push_back('"');
  out->append(digits, r.ptr - digits);
  out->push_back('"');
}

void AppendText(const char* text, std::string* out) { cantora::AppendJsonString(text, out); }

}  // namespace

void AppendSongItem(const MediaInfo& info, const char* library, std::string* out) {
  out->append("{\"album\":");
  AppendText(info.album, out);
  out->append(",\"albumartist\":");
  AppendText(info.album_artist, out);
  out->append(",\"artist\":");
  AppendText(info.artist, out);
  out->append(",\"bitrate\":");
  AppendNumberString(info.bitrate, out);
  out->append(",\"channel\":");
  AppendNumberString(info.channel, out);
  out->append(",\"comment\":");
  AppendText(info.comment, out);
  out->append(",\"composer\":");
  AppendText(info.composer, out);
  out->append(",\"covercount\":");
  char digits[24];
  out->append(digits, std::to_chars(digits, digits + sizeof digits, info.covercount).ptr - digits);
  out->append(",\"disc\":");
  AppendNumberString(info.disc, out);
  out->append(",\"duration\":");
  AppendNumberString(WholeSeconds(info.duration), out);
  out->append(",\"filesize\":");
  AppendNumberString(static_cast<unsigned long long>(info.filesize), out);
  out->append(",\"frequency\":");
  AppendNumberString(info.frequency, out);
  out->append(",\"genre\":");
  AppendText(info.genre, out);
  out->append(",\"id\":");
  if (std::strcmp(library, "shared") != 0 && ZARNMusicIsPersonalLibrary(&info)) {
    char scratch[kScratchSize];
    std::snprintf(scratch, kScratchSize, "%lu", info.id);
    AddPersonalLibraryPrefix(scratch, kScratchSize);
    AppendText(scratch, out);
  } else {
    AppendNumberString(info.id, out);
  }
  out->append(",\"path\":");
  AppendText(info.path, out);
  out->append(",\"title\":");
  AppendText(info.title, out);
  out->append(",\"track\":");
  AppendNumberString(info.track, out);
  out->append(",\"year\":");
  AppendNumberString(info.year, out);
  out->push_back('}');
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
                     ListAnswer* answer) {
  for (const MediaInfo* info = list; info != nullptr; info = info->next) {
    switch (AdmitSongRecord(*info, guard_line, fail_line)) {
      case Admission::kNoRoot:
        return false;
      case Admission::kSkipped:
        break;
      case Admission::kAdmitted:
        AppendSongItem(*info, library, answer->NextItem());
        break;
    }
  }
  return true;
}
