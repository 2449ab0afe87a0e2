#include "enumerate/enumerate.h"

#include <cstring>

#include "enumerate/guard/run_as.h"
#include "enumerate/list_answer.h"
#include "enumerate/shared_name_lists.h"
#include "platform/auth/account.h"
#include "platform/config/process_state.h"
#include "platform/playlist/song_records.h"

const char* const kJsonContentType = "text/plain; charset=\"UTF-8\"";
const char* const kEnumerateSource = "enumerate";

// The dispatch order is part of the interface: the first name that matches wins.
const EnumerationHandler::Action EnumerationHandler::kActions[] = {
    {"playlist_enum", &EnumerationHandler::PlaylistEnum},
    {"smartplaylist_enum", &EnumerationHandler::SmartPlaylistEnum},
    {"all_playlist_enum", &EnumerationHandler::AllPlaylistEnum},
    {"playlist_song_enum", &EnumerationHandler::PlaylistSongEnum},
    {"smartpls_song_enum", &EnumerationHandler::SmartPlsSongEnum},
    {"artist_enum", &EnumerationHandler::ArtistEnum},
    {"album_enum", &EnumerationHandler::AlbumEnum},
    {"genre_enum", &EnumerationHandler::GenreEnum},
    {"folder_enum", &EnumerationHandler::FolderEnum},
    {"song_enum", &EnumerationHandler::SongEnum},
    {"radio_enum", &EnumerationHandler::RadioEnum},
    {"search", &EnumerationHandler::Search},
    {"playlist_create", &EnumerationHandler::PlaylistCreateForUser},
    {"get_cover", &EnumerationHandler::GetCover},
    {"get_cover_for_folder", &EnumerationHandler::GetCoverForFolder},
    {"get_cover_for_album", &EnumerationHandler::GetCoverForAlbum},
    {"get_lyrics", &EnumerationHandler::GetLyrics},
};

EnumerationHandler::EnumerationHandler() : ServerFormHandler(nullptr) {}

EnumerationHandler::~EnumerationHandler() = default;

void EnumerationHandler::Run() {
  outputWritten = false;
  std::memset(userInfo, 0, sizeof userInfo);
  if (CantoraIphoneIsAuthorized(web_.GetSessionID(), userInfo, kUserInfoSize) < 0) return;
  const CantoraUserRecord& user = *reinterpret_cast<const CantoraUserRecord*>(userInfo);
  web_.SetSessionLanguage(user.language);
  request_.emplace(user);
  if (web_.In("action") == nullptr) return;
  for (const Action& action : kActions) {
    // Read afresh for every name; the comparison is case-sensitive.
    if (std::strcmp(web_.In("action"), action.name) == 0) {
      (this->*action.handler)();
      return;
    }
  }
}

void EnumerationHandler::PlaylistCreateForUser() { PlaylistCreate(userInfo); }

void EnumerationHandler::AnswerList(std::optional<bool> success, const Json::Value& items) {
  ListAnswer answer(&web_, kJsonContentType);
  for (const Json::Value& item : items) answer.Add(item);
  answer.Finish(success);
}

void EnumerationHandler::WriteJsonResponse(const Json::Value& answer, const char* content_type) {
  web_.WriteHeader(content_type);
  web_.WriteBody(answer);
}

void EnumerationHandler::SetSuccess(Json::Value& answer, bool flag) { answer["success"] = flag; }

void BeginRequest() {
  if (cantora::BeginPlatformRequest()) {
    cantora::SongLookup::RememberPaths(nullptr);
    ForgetSharedNameLists();
  }
}

void EndOfRequest() {
  cantora::EndPlatformRequest();
  cantora::SongLookup::RememberPaths(nullptr);
  EndProcessUnlessCallerIds(kEnumerateSource);
}
