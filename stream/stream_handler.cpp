#include "stream/stream_handler.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "enumerate/guard/run_as.h"
#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/index/music_browse.h"
#include "platform/index/song_file.h"
#include "platform/io/unique_fd.h"

const char* const kStreamSource = "stream";

namespace {

// The song list of one browse, freed on every path.
struct SongList {
  MediaInfo* head = nullptr;
  ~SongList() { ZARNPlaylistRecFree(head); }
};

}  // namespace

StreamHandler::StreamHandler() : ServerFormHandler(nullptr) {}

void StreamHandler::BareStatus(const char* status, const std::string& extra) {
  std::fprintf(web_.Output(), "Status: %s\r\n%s\r\n", status, extra.c_str());
  std::fflush(web_.Output());
}

void StreamHandler::Run() {
  CantoraUserRecord user;
  std::memset(&user, 0, sizeof user);
  if (CantoraIphoneIsAuthorized(web_.GetSessionID(), &user, sizeof user) < 0) {
    BareStatus("403 Forbidden");
    return;
  }
  head_ = web_.Method() == "HEAD";
  if (!head_ && web_.Method() != "GET") {
    BareStatus("405 Method Not Allowed", "Allow: GET, HEAD\r\n");
    return;
  }
  const cantora::Config& config = cantora::GetConfig();
  cantora::StreamRequest request;
  if (!cantora::ParseStreamRequest(web_, config.transcode_bitrate, config.transcode_max_bitrate,
                                   &request)) {
    BareStatus("400 Bad Request");
    return;
  }
  bool shared = false;
  // Closed on every path.
  const cantora::UniqueFd file(OpenSong(request, user.uid, &shared));
  struct stat st;
  if (!file || fstat(file.get(), &st) != 0) {
    BareStatus("404 Not Found");
    return;
  }
  cantora::AudioFormat format = cantora::SniffAudioFormat(file.get());
  if (request.transcode || format.playable_type == nullptr) {
    Transcode(file.get(), request, format.name);
  } else {
    // Only the administrator's folders are handed over by path: a personal
    // library's owner could swap a file for a link between the CGI's check
    // and the web server's open.
    SendAsItIs(file.get(), st, format.playable_type, shared);
  }
}

int StreamHandler::OpenSong(const cantora::StreamRequest& request, int uid, bool* shared) {
  if (request.id <= 0 || uid < 0) return -1;
  // The id is a validated number; the scope keeps the lookup among the
  // shared songs, or among the user's own personal ones.
  char condition[64];
  std::snprintf(condition, sizeof condition, "id = %lld", static_cast<long long>(request.id));
  SongList song;
  if (ZARNMusicBrowse(request.personal ? "actual_personal" : "actual_shared", uid, 0, &song.head,
                      0, "path", condition, nullptr, nullptr, 0, 1, 0, 0) <= 0 ||
      song.head == nullptr) {
    return -1;
  }
  *shared = song.head->library == 0;
  cantora::SongFiles files;
  if (!files.Locate(*song.head)) {
    syslog(LOG_ERR, "%s:%d song %lld lies in no library", kStreamSource, __LINE__,
           static_cast<long long>(request.id));
    return -1;
  }
  IF_RUN_AS guard(kStreamSource, __LINE__);
  if (!guard.ok()) {
    syslog(LOG_ERR, "%s:%d Failed to run as root.", kStreamSource, __LINE__);
    return -1;
  }
  return files.OpenLocated();
}
