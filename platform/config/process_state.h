// What a process keeps from one request to the next, and why it stays valid.
//
// A CGI process serves one request and ends; a persistent one (FastCGI)
// serves request after request. Whatever is per user, or could go stale,
// belongs to the request and is destroyed with it; only the state named
// here outlives a request, each item with the rule that keeps it valid.
//
// Per process (outlives requests):
//   - The configuration (config.h, GetConfig). Valid while its file is
//     unchanged: BeginPlatformRequest compares the file's device, inode, size,
//     modification and change times (the latter moves with owner and mode)
//     with those it was read at, and reads it again when they differ. One
//     set by SetConfig (tools, tests) is kept as set.
//   - The platform database connection (platform_db.h, PlatformDatabase).
//     Opened once; the gateway only reads through it, in autocommit
//     transactions that end with their statements, so every request reads
//     the last committed index. It holds nothing between requests:
//     EndPlatformRequest checks that no statement is left stepping and no
//     transaction open (resetting and rolling back what was, and logging
//     it), so the indexer's writes and WAL checkpoints never wait for an
//     idle process. It notices an indexing run or an administrator's change
//     by SQLite's data_version (BeginPlatformRequest reports it, so that
//     caches derived from the index are dropped), and is opened afresh when
//     the configuration names another file; what is set up per connection
//     (the index's SQL functions) follows PlatformDatabaseGeneration. The
//     statements every request runs (the session check, the user by name,
//     the facets' state, the data version) stay prepared on it
//     (sqlite::Database::PrepareKept), reset and unbound after each use:
//     program text only, holding no value and no transaction in between.
//   - The effective ids (enumerate/guard/run_as.h). The caller's (the web
//     server's user) between requests, raised only inside IF_RUN_AS scopes;
//     what the guard remembers of them mirrors the kernel, since every change
//     goes through its id calls. The gateway's EndOfRequest ends the process
//     when they are not the caller's (a restore that failed).
//   - The song-id hint of the playlist last written (platform/playlist/
//     song_records.h): only a hint, checked against the index and the user's
//     scope at every use; dropped at the end of each request and whenever the
//     index changed.
//   - The whole name lists of the shared libraries (every artist, album,
//     genre; enumerate/shared_name_lists.h): lists no personal library
//     enters, used again only under the database stamp (connection and
//     data_version, PlatformDatabaseStamp) taken before they were read, and
//     dropped when the index changed.
//   - The heap's pages (enumerate/huge_heap.h, KeepHeapPagesBetweenRequests:
//     never trimmed) and up to two freed 2 MiB record blocks (media_info.h,
//     KeepFreedRecordBlocks): memory the last requests faulted in, handed
//     out again as fresh allocations; no object of a request lives on in
//     them. SQLite's global settings: process-wide by nature.
//
// Per request (built in EnumerationHandler::Run, destroyed with the
// handler; see enumerate/request_context.h): who is signed in, their cover
// scope (platform/media/cover/cover_scope.h), the song-file handles and
// library roots (platform/index/song_file.h), the smart playlist stores read
// (platform/playlist/smart/store.h), and on whose behalf playlists are
// written (platform/playlist/playlist_files.h).
#ifndef CANTORA_PLATFORM_CONFIG_PROCESS_STATE_H
#define CANTORA_PLATFORM_CONFIG_PROCESS_STATE_H

namespace cantora {

// At the start of a request of a persistent process: the configuration read
// again when its file changed, the database connection let go when the
// configuration names another file. True when the database has changed
// since the last request asked (caches derived from it must go).
bool BeginPlatformRequest();

// At the end of a request: true when the process state holds nothing of it
// (see ReleasePlatformDatabase); otherwise what was left has been released
// and logged. Notes the database's data version for the next
// BeginPlatformRequest to compare with.
bool EndPlatformRequest();

}  // namespace cantora

#endif
