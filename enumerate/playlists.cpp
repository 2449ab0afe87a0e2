// Playlist listing, the songs of a playlist and playlist creation. Not served
// by this build yet: these actions answer nothing, exactly as an unknown
// action does, so that clients fall back to browsing the library.
#include "enumerate/enumerate.h"

void EnumerationHandler::PlaylistEnum() {}
void EnumerationHandler::SmartPlaylistEnum() {}
void EnumerationHandler::AllPlaylistEnum() {}
void EnumerationHandler::PlaylistSongEnum() {}
void EnumerationHandler::PlaylistCreate(const char* user_info) {}
