// get_cover, get_cover_for_folder and get_cover_for_album: one image file
// as the whole answer, streamed as root; on any failure only the bare
// "Status: 500 Internal Server Error" line. Which files may be sent is the
// cover platform's business (platform/media/cover): every path reaching it
// from here is checked there against the signed-in user's libraries.
#include <syslog.h>

#include <cstdio>
#include <cstring>

#include "enumerate/enumerate.h"
#include "enumerate/escape_param.h"
#include "enumerate/folder_id_param.h"
#include "enumerate/guard/run_as.h"
#include "enumerate/song_id_param.h"
#include "enumerate/song_item.h"
#include "platform/auth/account.h"
#include "platform/cgi/file_outputer.h"
#include "platform/index/library.h"
#include "platform/index/music_browse.h"
#include "platform/media/cover/cover_paths.h"

namespace {

constexpr int kCoverBufferSize = 4096;

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kInvalidMusicId = 1539,
  kSongCoverGuard = 1564,
  kSongCoverNoRoot = 1567,
  kPersonalFolderPathFailed = 1596,
  kSharedFolderPathFailed = 1601,
  kFolderCoverGuard = 1611,
  kFolderCoverNoRoot = 1614,
  kAlbumCoverNoAlbum = 1638,
  kAlbumEscapeAlbum = 1650,
  kAlbumEscapeArtist = 1660,
  kAlbumEscapeGenre = 1671,
  kAlbumSongTestGuard = 1694,
  kAlbumSongTestNoRoot = 1699,
  kAlbumCoverGuard = 1715,
  kAlbumCoverNoRoot = 1718,
  kFolderCoverBadParameters = 1802,
};

}  // namespace

void EnumerationHandler::GetCover() {
  char cover[kCoverBufferSize];
  MediaInfo* list = nullptr;
  const char* song = web_.In("path");
  bool found = true;
  if (song == nullptr) {
    SongIdParam id;
    found = ParseSongIdParam(web_.In("music_id", "0"), kInvalidMusicId, &id);
    if (found) {
      // The id goes in as it stands: the index's fragment grammar and scope
      // are what confine it.
      char condition[kCoverBufferSize];
      std::snprintf(condition, sizeof condition, "id = %s", id.id.c_str());
      found = ZARNMusicBrowse(id.library, GetUserIdFromName(UserName()), 0, &list, 0, "path",
                              condition, nullptr, nullptr, 0, -1, 0, 0) >= 0;
      song = list != nullptr ? list->path : nullptr;
    }
  }
  if (found && GetSongCoverPath(song, cover, sizeof cover))
    SendCover(cover, kSongCoverGuard, kSongCoverNoRoot);
  ZARNPlaylistRecFree(list);
  ReportServerErrorIfNoOutput();
}

void EnumerationHandler::GetCoverForFolder() {
  char cover[kCoverBufferSize];
  const char* folder = web_.In("folder");
  FolderIdParam given;
  // Form 0: the plain path to open.
  bool found = FindFolderIdParam(folder != nullptr ? folder : "", GetUserIdFromName(UserName()), 0,
                                 kCoverBufferSize, kPersonalFolderPathFailed,
                                 kSharedFolderPathFailed, &given);
  // Folders have no embedded picture: their cover is a file in them.
  if (found && GetFolderCoverPath(given.path.c_str(), cover, sizeof cover))
    SendCover(cover, kFolderCoverGuard, kFolderCoverNoRoot);
  ReportServerErrorIfNoOutput();
}

void EnumerationHandler::GetCoverForAlbum() {
  const char* album = web_.In("album_name");
  const char* artist = web_.In("artist_name");
  const char* genre = web_.In("genre_name");
  MediaInfo* list = nullptr;
  if (album == nullptr) {
    syslog(LOG_ERR, "%s (%d) MusicGetCoverImageForAlbum parameters error.", kEnumerateSource,
           kAlbumCoverNoAlbum);
    ReportServerErrorIfNoOutput();
    return;
  }
  MallocText escaped_album = EscapeParam(album, kAlbumEscapeAlbum);
  MallocText escaped_artist;
  MallocText escaped_genre;
  bool ok = static_cast<bool>(escaped_album);
  if (ok && artist != nullptr)
    ok = static_cast<bool>(escaped_artist = EscapeParam(artist, kAlbumEscapeArtist));
  if (ok && genre != nullptr)
    ok = static_cast<bool>(escaped_genre = EscapeParam(genre, kAlbumEscapeGenre));
  if (ok) {
    // Here the genre outranks the artist, the reverse of album_enum.
    char condition[kCoverBufferSize];
    if (genre != nullptr) {
      std::snprintf(condition, sizeof condition, "genre = '%s' and album = '%s'",
                    escaped_genre.get(), escaped_album.get());
    } else if (artist != nullptr) {
      char artists[kCoverBufferSize];
      std::snprintf(artists, sizeof artists, kArtistCondition, escaped_artist.get(),
                    ArtistJoiner(artist, "or", "and"), escaped_artist.get());
      std::snprintf(condition, sizeof condition, "(%s) and album = '%s'", artists,
                    escaped_album.get());
    } else {
      std::snprintf(condition, sizeof condition, "album = '%s'", escaped_album.get());
    }
    const char* library = ChangeToActualLib(web_.In("library", "shared"));
    ok = ZARNMusicBrowse(library, GetUserIdFromName(UserName()), 0, &list, 0, "*", condition,
                         nullptr, "covercount desc", 0, -1, 0, 0) >= 0 &&
         list != nullptr;
  }
  // The best-ranked song whose file exists; the last one when none does.
  const MediaInfo* chosen = nullptr;
  for (const MediaInfo* info = ok ? list : nullptr; info != nullptr; info = info->next) {
    FileTest test = TestSongFileAsRoot(request().song_files(), *info, kAlbumSongTestGuard,
                                       kAlbumSongTestNoRoot);
    if (test == FileTest::kNoRoot) {
      ok = false;
      break;
    }
    chosen = info;
    if (test == FileTest::kExists) break;
  }
  char cover[kCoverBufferSize];
  if (ok && chosen != nullptr && GetSongCoverPath(chosen->path, cover, sizeof cover))
    SendCover(cover, kAlbumCoverGuard, kAlbumCoverNoRoot);
  ZARNPlaylistRecFree(list);
  ReportServerErrorIfNoOutput();
}

bool EnumerationHandler::GetFolderCoverPath(const char* path, char* dest, int size) {
  if (path == nullptr || dest == nullptr || size < 0) {
    syslog(LOG_ERR, "%s (%d) Bad parameters.", kEnumerateSource, kFolderCoverBadParameters);
    return false;
  }
  char folder_cover[kCoverBufferSize];
  const cantora::CoverScope& scope = request().cover_scope();
  if (ZARNAudioGetFolderCoverPath(scope, path, folder_cover, sizeof folder_cover) != 0)
    return false;
  // A folder cover is always delivered in its scaled form.
  return ZARNAudioGetScaleCoverPath(scope, folder_cover, folder_cover, dest,
                                    static_cast<size_t>(size)) == 0;
}

bool EnumerationHandler::GetSongCoverPath(const char* song_path, char* dest, int size) {
  // The embedded picture always wins over a folder image.
  if (ZARNAudioGetEmbeddedCoverPath(request().cover_scope(), song_path, dest,
                                    static_cast<size_t>(size)) == 0)
    return true;
  return GetFolderCoverPath(song_path, dest, size);
}

void EnumerationHandler::SendCover(const char* cover_path, int guard_line, int fail_line) {
  IF_RUN_AS guard(kEnumerateSource, guard_line);
  if (!guard.ok()) {
    syslog(LOG_ERR, "%s:%d Failed to run as root.", kEnumerateSource, fail_line);
    return;
  }
  HTTPFileOutputer::Output(cover_path, nullptr);
  outputWritten = true;
}

void EnumerationHandler::ReportServerErrorIfNoOutput() {
  if (outputWritten) return;
  std::fputs("Status: 500 Internal Server Error\r\n\r\n", web_.Output());
  std::fflush(web_.Output());
}
