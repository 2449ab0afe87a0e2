// RequestContext: what one request of the gateway works with.
//
// Made once by EnumerationHandler::Run when the session is accepted, and
// destroyed with the handler: nothing of it reaches the next request that a
// persistent process serves. What does outlive a request (the
// configuration, the database connection, the effective ids) is named in
// platform/config/process_state.h, with the rule that keeps it valid.
#ifndef CANTORA_ENUMERATE_REQUEST_CONTEXT_H
#define CANTORA_ENUMERATE_REQUEST_CONTEXT_H

#include <memory>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/index/song_file.h"
#include "platform/lib/sqlite/database.h"
#include "platform/media/cover/cover_scope.h"
#include "platform/playlist/playlist_files.h"
#include "platform/playlist/smart/store.h"

class RequestContext {
 public:
  // For the user of record (as CantoraIphoneIsAuthorized filled it), with
  // the configuration and the database connection in force.
  explicit RequestContext(const CantoraUserRecord& record);
  RequestContext(const RequestContext&) = delete;
  RequestContext& operator=(const RequestContext&) = delete;

  // Who is signed in.
  const cantora::User& user() const { return user_; }
  const cantora::Config& config() const { return config_; }
  // The platform database; null when it cannot be opened.
  sqlite::Database* database() const { return database_; }

  // What the user's cover requests may touch; made on first use, since only
  // the cover actions need it and making it resolves every library folder.
  const cantora::CoverScope& cover_scope();
  // The song-file lookups of this request (folder handles kept while the
  // songs of one folder follow one another).
  cantora::SongFiles& song_files() { return song_files_; }
  // The smart playlist stores this request has read.
  cantora::SmartPlaylistStores& smart_playlist_stores() { return smart_playlist_stores_; }
  // Playlists are written on the signed-in user's behalf.
  cantora::PlaylistWriter playlist_writer() const {
    return cantora::PlaylistWriter::User(user_.name);
  }

 private:
  const cantora::User user_;
  const cantora::Config& config_;
  sqlite::Database* const database_;
  std::unique_ptr<cantora::CoverScope> cover_scope_;
  cantora::SongFiles song_files_;
  cantora::SmartPlaylistStores smart_playlist_stores_;
};

#endif
