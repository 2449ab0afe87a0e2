// Playlists: 50 shared playlists of 20 songs, "Bench Long" of 1,000 songs
// (M3U files in the instance's playlist folder, indexed), the requests that
// list them, and playlist_create of 500 song ids; then the shared smart
// playlists the benchmark times (the instance's smart playlist store).
#ifndef CANTORA_BENCH_PLAYLIST_BENCH_H
#define CANTORA_BENCH_PLAYLIST_BENCH_H

#include <cstddef>
#include <string>
#include <vector>

#include "bench/measure.h"

namespace bench {

// Writes the playlist files and indexes them; admin: cantora-admin.
void SetUpPlaylists(const std::string& admin, const std::string& instance,
                    const std::string& music, size_t songs);

// The id of the playlist "Bench Long" (cantora-admin playlist list).
std::string LongPlaylistId(const std::string& admin);

// The requests of the playlist cases, long_id that of "Bench Long".
std::vector<Action> PlaylistActions(const std::string& long_id);

// Times playlist_create of 500 song ids, a new name every run (target
// < 20 ms), and prints its line; true when within the target.
bool TimePlaylistCreate(const std::vector<std::string>& cgi, const std::string& session,
                        const std::string& config, int runs);

// Removes the playlists TimePlaylistCreate made, so that a kept library
// keeps its 50 playlists.
void RemoveCreatedPlaylists(const std::string& admin);

// Writes the smart playlist store (store: its file) and adds the requests
// for its playlists, in store order (their pls_id), to *actions.
void AddSmartPlaylistActions(const std::string& store, std::vector<Action>* actions);

}  // namespace bench

#endif
