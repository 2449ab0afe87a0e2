// EnumerationHandler: the browsing gateway's request handler.
//
// One object per request, built by main() on its stack. Run() checks the
// session, reads "action" and calls the one handler of that name; a request
// that is not signed in, or names no known action, gets no answer at all.
// Each handler reads its own parameters, writes its own answer and returns.
// What the request works with (who is signed in, their scope, the
// configuration, the database) is its RequestContext, made once in Run.
#ifndef CANTORA_ENUMERATE_ENUMERATE_H
#define CANTORA_ENUMERATE_ENUMERATE_H

#include <json/json.h>

#include <optional>
#include <string>

#include "enumerate/request_context.h"
#include "platform/cgi/server_form_handler.h"
#include "platform/index/media_info.h"

class ListAnswer;

// Size of the signed-in user's record; its first member is the login name.
constexpr int kUserInfoSize = 492;

// Content type of every JSON answer. Clients expect text/plain, not a JSON type.
extern const char* const kJsonContentType;

// Source name that the handlers' log lines carry.
extern const char* const kEnumerateSource;

class EnumerationHandler : public ServerFormHandler {
 public:
  EnumerationHandler();
  ~EnumerationHandler() override;

  void Run() override;
  void OnStart() override {}
  void OnFinish() override {}

 private:
  // Playlists.
  void PlaylistEnum();
  void SmartPlaylistEnum();
  void AllPlaylistEnum();
  void PlaylistSongEnum();
  void SmartPlsSongEnum();
  void PlaylistCreate(const char* user_info);
  // playlist_create is the one handler handed the user record explicitly.
  void PlaylistCreateForUser();
  // Library browsing.
  void ArtistEnum();
  void AlbumEnum();
  void GenreEnum();
  void FolderEnum();
  void SongEnum();
  void Search();
  // Internet radio.
  void RadioEnum();
  // Media assets.
  void GetCover();
  void GetCoverForFolder();
  void GetCoverForAlbum();
  void GetLyrics();

  // Playlist helpers (playlists.cpp).
  std::string GetRandomPlaylistPath();
  Json::Value RandomPlaylistItem(bool typed);
  void AnswerPlaylists(const Json::Value& items);
  void ListPlaylistSongs(const char* pls_id, int start, int limit);
  bool CreateRandomPlaylist(const char* path);
  void WritePlaylistSongs(const MediaInfo* list, long id, const char* pls_id,
                          const char* personal_id, int start, int limit);
  // The songs of the smart playlist pls_id into answer. start and limit are
  // taken and deliberately not applied: every selected song is answered.
  void ListSmartPlaylistSongs(ListAnswer* answer, const char* pls_id, int start, int limit);

  // The list answer of items (see ListAnswer): "success" when given (a
  // failed browse sends none), "items", "total" = the number of items.
  void AnswerList(std::optional<bool> success, const Json::Value& items);

  // Writes the header with content_type, then the object.
  void WriteJsonResponse(const Json::Value& answer, const char* content_type);
  // Sets "success" to flag (a JSON boolean), replacing any earlier value.
  static void SetSuccess(Json::Value& answer, bool flag);

  // Covers (covers.cpp). The scaled folder cover of a song or folder path
  // into dest; false (logged for bad parameters) when there is none.
  bool GetFolderCoverPath(const char* path, char* dest, int size);
  // The image of one song: its embedded picture, else its folder's cover.
  bool GetSongCoverPath(const char* song_path, char* dest, int size);
  // Streams the cover file as root, under IF_RUN_AS built with guard_line,
  // and sets outputWritten; logs fail_line when root cannot be had.
  void SendCover(const char* cover_path, int guard_line, int fail_line);
  // The bare 500 status unless a cover was streamed.
  void ReportServerErrorIfNoOutput();

  // The login name of the signed-in user.
  const char* UserName() const { return userInfo; }
  // This request's context; made in Run before any handler is called.
  RequestContext& request() { return *request_; }

  struct Action {
    const char* name;
    void (EnumerationHandler::*handler)();
  };
  static const Action kActions[];

  char userInfo[kUserInfoSize];
  bool outputWritten = false;
  std::optional<RequestContext> request_;
};

// A process that serves request after request (FastCGI) calls BeginRequest
// before building each EnumerationHandler and EndOfRequest after destroying
// it; a CGI, which serves one request and ends, needs neither. Together they
// keep the rules of platform/config/process_state.h:
//   BeginRequest  the configuration read again when its file changed; the
//                 database connection opened afresh when the configuration
//                 names another file; caches derived from the index dropped
//                 when an indexing run (or any other writer) changed it.
//   EndOfRequest  the database connection left with no statement running
//                 and no transaction open (what a request left is released
//                 and logged); the playlist song hint dropped; and the
//                 effective ids the caller's again, or else the process
//                 ends at once (exit status 1, one LOG_AUTH|LOG_CRIT line)
//                 rather than serve the next request with raised ids.
// The process must have called DropToRealIds (enumerate/guard/run_as.h)
// first, as main() does.
void BeginRequest();
void EndOfRequest();

// Menu tables: rows of four strings, ended by a row of four null pointers.
// grzRootMenu: id, class, icon, image path. grzRadioItem: id, source label,
// icon, image path.
extern "C" {
extern const char* const grzRootMenu[][4];
extern const char* const grzRadioItem[][4];
}

#endif
