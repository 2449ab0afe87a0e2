#include "platform/indexer/indexer.h"

#include <syslog.h>

#include <chrono>
#include <ctime>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/index/audio_file.h"
#include "platform/index/facets.h"
#include "platform/index/indexed_folder.h"
#include "platform/indexer/existing_songs.h"
#include "platform/indexer/index_status.h"
#include "platform/indexer/index_writer.h"
#include "platform/indexer/library_roots.h"
#include "platform/indexer/playlist_scan.h"
#include "platform/indexer/progress.h"
#include "platform/indexer/read_pipeline.h"
#include "platform/indexer/song_lyrics.h"
#include "platform/indexer/tree_walk.h"
#include "platform/index/schema.h"
#include "platform/index/song_walk.h"
#include "platform/index/sql_functions.h"

namespace cantora {
namespace {

struct ExistingFolder {
  int64_t id = 0;
  int64_t library = 0;
  int64_t parent_id = 0;
  std::string title;
  int covercount = 0;
  bool seen = false;
};

struct RootState {
  LibraryTree tree;
  WalkResult walk = WalkResult::kOk;
  std::vector<bool> skipped;        // per folder: claimed by an earlier root
  std::vector<int64_t> folder_ids;  // per folder: its record, 0 when none
  // The title of the root's record: a personal library's is its owner's
  // name (the folder browse shows it as "<name> (home)"); empty means the
  // folder's own name.
  std::string root_title;
};

// A file to read, with the row it replaces (null for a new file).
struct Job {
  uint32_t root;
  uint32_t file;
  ExistingSong* existing;
};

bool Failed(sqlite::Database& db, std::string* error) {
  *error = db.ErrorMessage();
  return false;
}

bool LoadRoots(sqlite::Database& db, std::vector<RootState>* roots, std::string* error) {
  std::vector<LibraryRoot> found;
  if (!ListLibraryRoots(db, &found, error)) return false;
  for (LibraryRoot& root : found) {
    RootState r;
    r.tree.library = root.library;
    r.tree.root = std::move(root.path);
    r.root_title = std::move(root.owner);
    roots->push_back(std::move(r));
  }
  return true;
}

// The rows of st (path, id, library, folder_id, mtime, filesize, create_date).
bool AddSongs(sqlite::Database& db, sqlite::Statement& st, ExistingSongs* songs,
              std::string* error) {
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    const char* path = st.Text(0);
    ExistingSong& s = songs->Add(std::string_view(path, st.Bytes(0)));
    s.id = st.Int(1);
    s.library = st.Int(2);
    s.folder_id = st.Int(3);
    s.mtime = st.Int(4);
    s.filesize = st.Int(5);
    s.create_date = st.Int(6);
  }
  return rc == SQLITE_DONE || Failed(db, error);
}

constexpr const char* kSongColumns =
    "SELECT path, id, library, folder_id, mtime, filesize, create_date FROM song";

bool LoadSongs(sqlite::Database& db, ExistingSongs* songs, std::string* error) {
  sqlite::Statement count = db.Prepare("SELECT count(*) FROM song", error);
  if (!count.IsValid()) return false;
  if (count.Step() == SQLITE_ROW) songs->Reserve(static_cast<size_t>(count.Int(0)));
  sqlite::Statement st = db.Prepare(kSongColumns, error);
  return st.IsValid() && AddSongs(db, st, songs, error);
}

// The rows a scoped run may find again: a shallow folder's songs, and every
// song below a deep one (a range of the path index).
bool LoadScopeSongs(sqlite::Database& db, const std::vector<ScopeFolder>& scope,
                    ExistingSongs* songs, std::string* error) {
  sqlite::Statement below =
      db.Prepare(std::string(kSongColumns) + " WHERE path > ?1 AND path < ?2", error);
  sqlite::Statement in = db.Prepare(
      std::string(kSongColumns) + " WHERE folder_id = (SELECT id FROM folder WHERE path = ?1)",
      error);
  if (!below.IsValid() || !in.IsValid()) return false;
  for (const ScopeFolder& f : scope) {
    sqlite::Statement& st = f.deep ? below : in;
    st.Reset();
    if (f.deep)
      st.Bind(1, f.path + "/").Bind(2, f.path + "0");  // '0' follows '/'
    else
      st.Bind(1, f.path);
    if (!AddSongs(db, st, songs, error)) return false;
  }
  return true;
}

// A file that could not be read, as index_failure keeps it.
struct Failure {
  int64_t mtime = 0;
  int64_t size = 0;
  std::string reason;
  bool keep = false;   // still true (or out of the run's reach)
  bool fresh = false;  // found by this run: to be written
};

bool LoadFailures(sqlite::Database& db, std::unordered_map<std::string, Failure>* failures,
                  std::string* error) {
  sqlite::Statement st =
      db.Prepare("SELECT path, mtime, filesize, reason FROM index_failure", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    Failure& f = (*failures)[st.Text(0)];
    f.mtime = st.Int(1);
    f.size = st.Int(2);
    f.reason = st.Text(3);
  }
  return rc == SQLITE_DONE || Failed(db, error);
}

bool LoadFolders(sqlite::Database& db, std::unordered_map<std::string, ExistingFolder>* folders,
                 std::string* error) {
  sqlite::Statement st =
      db.Prepare("SELECT path, id, library, parent_id, title, covercount FROM folder", error);
  if (!st.IsValid()) return false;
  int rc;
  while ((rc = st.Step()) == SQLITE_ROW) {
    ExistingFolder& f = (*folders)[st.Text(0)];
    f.id = st.Int(1);
    f.library = st.Int(2);
    f.parent_id = st.Int(3);
    f.title = st.Text(4);
    f.covercount = static_cast<int>(st.Int(5));
  }
  return rc == SQLITE_DONE || Failed(db, error);
}

// Groups writes into transactions of a bounded size, so that requests never
// wait long behind the indexer.
class Batch {
 public:
  Batch(sqlite::Database& db, size_t size) : db_(db), size_(size == 0 ? 1 : size) {}
  ~Batch() {
    if (open_) db_.Exec("ROLLBACK");
  }

  // Opens a transaction unless one is open. The run's first also marks the
  // facets stale: the songs it commits are not summed up until the last.
  bool Begin(std::string* error) {
    if (open_) return true;
    if (!db_.Exec("BEGIN IMMEDIATE", error)) return false;
    open_ = true;
    writes_ = 0;
    if (!wrote_ && !MarkFacetsStale(db_)) {
      *error = db_.ErrorMessage();
      return false;
    }
    wrote_ = true;
    return true;
  }
  // Whether this run has written anything.
  bool wrote() const { return wrote_; }
  // One write: write() returns false with *error set when it fails. The
  // transaction is committed once it holds size writes.
  template <class F>
  bool Write(std::string* error, F write) {
    return Begin(error) && write() && Wrote(error);
  }
  bool Commit(std::string* error) {
    if (!open_) return true;
    open_ = false;
    return db_.Exec("COMMIT", error);
  }

 private:
  bool Wrote(std::string* error) { return ++writes_ < size_ || Commit(error); }

  sqlite::Database& db_;
  const size_t size_;
  size_t writes_ = 0;
  bool open_ = false;
  bool wrote_ = false;
};

class IndexRun {
 public:
  IndexRun(sqlite::Database& db, const IndexOptions& options, IndexSummary* summary)
      : db_(db),
        options_(options),
        summary_(summary),
        batch_(db, options.batch),
        progress_(options.report, options.report != nullptr && options.progress),
        now_(static_cast<int64_t>(std::time(nullptr))),
        scope_(options.scope) {}

  // The playlist files of every root, once Run has walked them.
  std::vector<WalkedPlaylists> WalkedPlaylistFiles() const {
    std::vector<WalkedPlaylists> all;
    for (const RootState& r : roots_) all.push_back(PlaylistsOf(r.tree, r.walk));
    return all;
  }

  int64_t started() const { return now_; }

  bool Run(std::string* error) {
    if (!RegisterIndexFunctions(db_.get())) {
      *error = "cannot register the index's SQL functions";
      return false;
    }
    // A database made by an earlier version gets the current schema first.
    if (!CreateIndexSchema(db_, error)) return false;
    if (!writer_.Prepare(db_, error) || !lyrics_.Prepare(db_, error) ||
        !LoadRoots(db_, &roots_, error))
      return false;
    // The walk waits on the file system, reading the rows waits on the
    // processor: on a large library they take seconds each, so they overlap
    // (the connection is used by the reading thread alone meanwhile).
    bool loaded = false;
    std::string load_error;
    std::thread load([&] {
      loaded = (scope_ != nullptr ? LoadScopeSongs(db_, *scope_, &songs_, &load_error)
                                  : LoadSongs(db_, &songs_, &load_error)) &&
               LoadFolders(db_, &folders_, &load_error) &&
               LoadFailures(db_, &failures_, &load_error);
    });
    Walk();
    load.join();
    if (!loaded) {
      *error = load_error;
      return false;
    }
    KeepUnreadableRoots();
    if (scope_ != nullptr) KeepOutOfScope();
    return StoreFolders(error) && StoreSongs(error) && RemoveVanishedSongs(error) && Finish(error);
  }

 private:
  void Report(const std::string& line) {
    syslog(LOG_ERR, "index: %s", line.c_str());
    if (options_.report != nullptr) progress_.Message("index: " + line);
  }

  void Walk() {
    for (size_t i = 0; i < roots_.size(); ++i) {
      RootState& r = roots_[i];
      std::vector<std::string> warnings;
      r.walk = scope_ != nullptr ? WalkScope(&r.tree, *scope_, &warnings)
                                 : WalkLibrary(&r.tree, &warnings);
      for (const std::string& w : warnings) Report(w);
      r.skipped.assign(r.tree.folders.size(), false);
      r.folder_ids.assign(r.tree.folders.size(), 0);
      for (size_t earlier = 0; earlier < i; ++earlier)
        for (size_t f = 0; f < r.tree.folders.size(); ++f)
          if (IsSameOrBelow(r.tree.folders[f].path, roots_[earlier].tree.root)) r.skipped[f] = true;
    }
  }

  // Rows below a root whose state is unknown stay as they are.
  void KeepUnreadableRoots() {
    for (const RootState& r : roots_) {
      if (r.walk != WalkResult::kUnreadable) continue;
      for (auto& s : songs_)
        if (IsSameOrBelow(s.path, r.tree.root)) s.song.seen = true;
      for (auto& f : folders_)
        if (IsSameOrBelow(f.first, r.tree.root)) f.second.seen = true;
      for (auto& f : failures_)
        if (IsSameOrBelow(f.first, r.tree.root)) f.second.keep = true;
    }
  }

  // A scoped run: records and failures outside the scope stay, and a
  // placeholder folder (listed, not walked) holds audio when its record
  // says so or a folder walked below it does.
  void KeepOutOfScope() {
    for (auto& f : folders_)
      if (!InScope(f.first, true, *scope_)) f.second.seen = true;
    for (auto& f : failures_)
      if (!InScope(f.first, false, *scope_)) f.second.keep = true;
    for (RootState& r : roots_) {
      std::vector<FoundFolder>& folders = r.tree.folders;
      for (size_t i = folders.size(); i-- > 1;) {
        if (folders[i].placeholder && folders_.count(folders[i].path) != 0)
          folders[i].holds_audio = true;
        if (folders[i].holds_audio && folders[i].parent >= 0)
          folders[folders[i].parent].holds_audio = true;
      }
    }
  }

  bool StoreFolders(std::string* error) {
    for (RootState& r : roots_) {
      for (size_t i = 0; i < r.tree.folders.size(); ++i) {
        const FoundFolder& found = r.tree.folders[i];
        if (r.skipped[i] || (found.parent >= 0 && !found.holds_audio)) continue;
        FolderRow row;
        row.library = r.tree.library;
        row.path = found.path;
        row.parent_id = found.parent >= 0 ? r.folder_ids[found.parent] : 0;
        row.title = found.parent < 0 && !r.root_title.empty() ? r.root_title : BaseName(found.path);
        row.covercount = found.covercount;
        row.create_date = now_;
        auto it = folders_.find(found.path);
        if (found.placeholder && it == folders_.end())
          row.covercount = CountCoverImages(found.path);
        if (it != folders_.end()) {
          ExistingFolder& old = it->second;
          old.seen = true;
          r.folder_ids[i] = old.id;
          // A placeholder's images were not counted: its record stays.
          if (found.placeholder) continue;
          if (old.library == row.library && old.parent_id == row.parent_id &&
              old.title == row.title && old.covercount == row.covercount)
            continue;
          if (!batch_.Write(error, [&] { return writer_.UpdateFolder(old.id, row, error); }))
            return false;
        } else {
          if (!batch_.Write(error,
                            [&] { return writer_.InsertFolder(row, &r.folder_ids[i], error); }))
            return false;
        }
      }
    }
    return true;
  }

  bool StoreSongs(std::string* error) {
    std::vector<Job> jobs;
    std::string path;
    for (uint32_t ri = 0; ri < roots_.size(); ++ri) {
      RootState& r = roots_[ri];
      for (uint32_t fi = 0; fi < r.tree.files.size(); ++fi) {
        const FoundFile& file = r.tree.files[fi];
        if (r.skipped[file.folder]) continue;
        ++summary_->seen;
        r.tree.PathOf(file, &path);
        ExistingSong* old = songs_.Find(path);
        if (old != nullptr) {
          old->seen = true;
          if (!options_.full && old->mtime == file.mtime && old->filesize == file.size) {
            if (!Relink(*old, r, file, error)) return false;
            continue;
          }
        }
        if (old == nullptr && !options_.full && KnownFailure(path, file)) continue;
        jobs.push_back({ri, fi, old});
      }
    }
    Json("progress");
    // Paths are made as the readers ask for them: a fresh library of a
    // million files would otherwise hold a million of them at once.
    auto path_of = [&](size_t i) {
      const LibraryTree& tree = roots_[jobs[i].root].tree;
      return tree.PathOf(tree.files[jobs[i].file]);
    };
    ReadPipeline pipeline(jobs.size(), path_of, options_.readers);
    progress_.Start("indexing", jobs.size());
    ReadResult result;
    for (size_t i = 0; pipeline.Next(&result); ++i) {
      if (!Store(jobs[i], std::move(result), error)) return false;
      progress_.Update(i + 1);
      JsonNow();
    }
    progress_.Clear();
    return true;
  }

  bool Relink(const ExistingSong& old, const RootState& r, const FoundFile& file,
              std::string* error) {
    int64_t folder_id = r.folder_ids[file.folder];
    if (old.library == r.tree.library && old.folder_id == folder_id) return true;
    return batch_.Write(
        error, [&] { return writer_.RelinkSong(old.id, r.tree.library, folder_id, error); });
  }

  // Stores the song read for job; its tags are moved out of result.
  bool Store(const Job& job, ReadResult result, std::string* error) {
    const RootState& r = roots_[job.root];
    const FoundFile& file = r.tree.files[job.file];
    std::string path = r.tree.PathOf(file);
    if (!result.ok) {
      ++summary_->failed;
      Report("skipped " + path + ": " + result.error);
      Failure& f = failures_[path];
      f = Failure{file.mtime, file.size, result.error, true, true};
      // A file that no longer reads keeps no stale row; it is tried again next run.
      if (job.existing != nullptr) {
        job.existing->seen = false;
        job.existing->unreadable = true;
      }
      return true;
    }
    SongRow row;
    row.library = r.tree.library;
    row.path = std::move(path);
    row.folder_id = r.folder_ids[file.folder];
    row.tags = std::move(result.tags);
    row.filesize = file.size;
    row.mtime = file.mtime;
    return batch_.Write(error, [&] {
      if (job.existing != nullptr) {
        if (!writer_.UpdateSong(job.existing->id, row, error) ||
            !lyrics_.StoreTagLyrics(job.existing->id, row.tags.lyrics, true, error))
          return false;
        ++summary_->updated;
      } else {
        row.create_date = now_;
        int64_t id;
        if (!writer_.InsertSong(row, &id, error) ||
            !lyrics_.StoreTagLyrics(id, row.tags.lyrics, false, error))
          return false;
        ++summary_->added;
      }
      return true;
    });
  }

  bool RemoveVanishedSongs(std::string* error) {
    for (const auto& s : songs_) {
      const ExistingSong& song = s.song;
      if (song.seen) continue;
      if (!batch_.Write(error, [&] { return writer_.DeleteSong(song.id, error); })) return false;
      // Rows of unreadable files are dropped too, but they are counted as failed.
      if (!song.unreadable) ++summary_->removed;
    }
    Json("progress");
    return true;
  }

  // Whether path is a file that failed before and has not changed since:
  // it is counted and reported again, not read.
  bool KnownFailure(const std::string& path, const FoundFile& file) {
    auto it = failures_.find(path);
    if (it == failures_.end() || it->second.mtime != file.mtime || it->second.size != file.size)
      return false;
    it->second.keep = true;
    ++summary_->failed;
    Report("skipped " + path + ": " + it->second.reason);
    return true;
  }

 public:
  // Brings index_failure in line with this run's failures, in a transaction
  // of its own when anything changed.
  bool StoreFailures(std::string* error) {
    std::vector<std::string> gone;
    bool fresh = false;
    for (const auto& f : failures_) {
      if (!f.second.keep) gone.push_back(f.first);
      fresh = fresh || f.second.fresh;
    }
    if (gone.empty() && !fresh) return true;
    sqlite::Transaction transaction(db_);
    sqlite::Statement del = db_.Prepare("DELETE FROM index_failure WHERE path = ?", error);
    sqlite::Statement put = db_.Prepare(
        "INSERT OR REPLACE INTO index_failure(path, mtime, filesize, reason, at) "
        "VALUES (?, ?, ?, ?, ?)",
        error);
    if (!transaction.ok() || !del.IsValid() || !put.IsValid()) return Failed(db_, error);
    for (const std::string& path : gone) {
      del.Reset();
      del.Bind(1, path);
      if (!del.Run()) return Failed(db_, error);
    }
    for (const auto& f : failures_) {
      if (!f.second.fresh) continue;
      put.Reset();
      put.Bind(1, f.first)
          .Bind(2, f.second.mtime)
          .Bind(3, f.second.size)
          .Bind(4, f.second.reason)
          .Bind(5, now_);
      if (!put.Run()) return Failed(db_, error);
    }
    return transaction.Commit() || Failed(db_, error);
  }

 private:
  void Json(const char* event) {
    if (options_.json == nullptr) return;
    std::fprintf(options_.json, "%s\n", FormatIndexJson(event, *summary_).c_str());
    std::fflush(options_.json);
    last_json_ = std::chrono::steady_clock::now();
  }
  // A progress line at most twice a second.
  void JsonNow() {
    if (options_.json != nullptr &&
        std::chrono::steady_clock::now() - last_json_ >= std::chrono::milliseconds(500))
      Json("progress");
  }

  bool Finish(std::string* error) {
    bool vanished_folders = false;
    for (const auto& f : folders_) vanished_folders = vanished_folders || !f.second.seen;
    // An unchanged library, whose facets no earlier run left stale, is done
    // but for its side lyrics files (.lrc, .txt), which change without their
    // songs: summing up a large library again costs seconds.
    if (!batch_.wrote() && !vanished_folders && FacetsCurrent(db_))
      return SyncSideLyricsAlone(error);
    if (!batch_.Begin(error)) return false;
    for (const auto& f : folders_)
      if (!f.second.seen && !writer_.DeleteFolder(f.second.id, error)) return false;
    if (scope_ != nullptr && !RemoveEmptiedFolders(error)) return false;
    if (!SyncWalkedSideLyrics(error)) return false;
    if (!RebuildFacets(db_)) {
      *error =
          std::string("cannot rebuild the artist, album and genre lists: ") + db_.ErrorMessage();
      return false;
    }
    if (!RebuildSongWalk(db_, error)) return false;
    if (!batch_.Commit(error)) return false;
    // A scoped run's counts are those of a few folders, not of the library.
    if (scope_ == nullptr && ChangedMuch()) Compact();
    return true;
  }

  // A scoped run: the records of placeholder folders (above or beside the
  // scope) that no song and no folder lies in any more, deepest first.
  bool RemoveEmptiedFolders(std::string* error) {
    sqlite::Statement del = db_.Prepare(
        "DELETE FROM folder WHERE id = ?1 AND parent_id <> 0 "
        "AND NOT EXISTS (SELECT 1 FROM song WHERE folder_id = ?1) "
        "AND NOT EXISTS (SELECT 1 FROM folder c WHERE c.library = ?2 AND c.parent_id = ?1)",
        error);
    if (!del.IsValid()) return false;
    for (const RootState& r : roots_) {
      for (size_t i = r.tree.folders.size(); i-- > 1;) {
        if (!r.tree.folders[i].placeholder || r.folder_ids[i] == 0) continue;
        del.Reset();
        del.Bind(1, r.folder_ids[i]).Bind(2, r.tree.library);
        if (!del.Run()) return Failed(db_, error);
      }
    }
    return true;
  }

  // The side lyrics files the walk found, matched against the songs.
  bool SyncWalkedSideLyrics(std::string* error) {
    SideLyricsFolders walked;
    std::vector<std::string> unknown_roots;
    std::unordered_set<int64_t> scope_folders;
    for (const RootState& r : roots_) {
      if (r.walk == WalkResult::kUnreadable) unknown_roots.push_back(r.tree.root);
      for (size_t i = 0; i < r.tree.folders.size(); ++i)
        if (!r.tree.folders[i].placeholder && r.folder_ids[i] != 0)
          scope_folders.insert(r.folder_ids[i]);
      for (const FoundSideFile& f : r.tree.lyrics_files) {
        int64_t folder_id = r.folder_ids[f.folder];
        if (r.skipped[f.folder] || folder_id == 0) continue;
        walked[folder_id].push_back({f.name, f.mtime, f.size});
      }
    }
    return SyncSideLyrics(db_, walked, unknown_roots, scope_ != nullptr ? &scope_folders : nullptr,
                          error);
  }

  // SyncWalkedSideLyrics (and KeepSongWalk) in a transaction of its own,
  // which leaves the facets as they are.
  bool SyncSideLyricsAlone(std::string* error) {
    if (!db_.Exec("BEGIN IMMEDIATE", error)) return false;
    if (SyncWalkedSideLyrics(error) && KeepSongWalk(error) && db_.Exec("COMMIT", error))
      return true;
    db_.Exec("ROLLBACK");
    return false;
  }

  // Writes the song walk again when a library that has songs lacks it (an
  // index made before the walk was kept, a run that stopped part-way).
  bool KeepSongWalk(std::string* error) {
    std::vector<int64_t> libraries = {0};
    for (const RootState& r : roots_) libraries.push_back(r.tree.library);
    bool missing = false;
    if (!SongWalkMissing(db_, libraries, &missing, error)) return false;
    return !missing || RebuildSongWalk(db_, error);
  }

  // A tenth of the library or more added, read again or removed.
  bool ChangedMuch() const {
    int64_t changed = summary_->added + summary_->updated + summary_->removed;
    return changed > 0 && changed * 10 >= summary_->seen;
  }

  // Songs written batch after batch leave each index's pages spread over the
  // file, and a song list, which walks an index in order, then touches a
  // page for nearly every entry. VACUUM writes every table and index again
  // in order; readers keep the snapshot they started with. The index is
  // already committed: a failure here only leaves it as it was.
  void Compact() {
    std::string error;
    if (!db_.Exec("VACUUM", &error)) Report("cannot compact the database: " + error);
  }

  sqlite::Database& db_;
  const IndexOptions& options_;
  IndexSummary* summary_;
  Batch batch_;
  Progress progress_;
  const int64_t now_;
  const std::vector<ScopeFolder>* scope_;
  std::chrono::steady_clock::time_point last_json_{};
  std::unordered_map<std::string, Failure> failures_;
  IndexWriter writer_;
  LyricsWriter lyrics_;
  std::vector<RootState> roots_;
  ExistingSongs songs_;
  std::unordered_map<std::string, ExistingFolder> folders_;
};

}  // namespace

bool RunIndex(sqlite::Database& db, const IndexOptions& options, IndexSummary* summary,
              std::string* error) {
  auto start = std::chrono::steady_clock::now();
  *summary = IndexSummary();
  IndexRun run(db, options, summary);
  bool ok = run.Run(error) && run.StoreFailures(error);
  // Playlist files, found by the same walk (playlist_scan.h).
  PlaylistScanSummary playlists;
  ok = ok && IndexPlaylistFiles(db, run.WalkedPlaylistFiles(), options.scope, &playlists, error);
  summary->seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ok = ok && RecordIndexRun(db, options.kind, run.started(), *summary, error);
  // Every request opens the database afresh; frames left in the WAL would
  // be replayed by each of them. A reader still busy only shortens this.
  if (ok) db.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
  if (ok && options.json != nullptr) {
    std::fprintf(options.json, "%s\n", FormatIndexJson("summary", *summary).c_str());
    std::fflush(options.json);
  }
  return ok;
}

std::string FormatIndexJson(const char* event, const IndexSummary& s) {
  char line[320];
  int n = std::snprintf(line, sizeof line,
                        "{\"event\":\"%s\",\"seen\":%lld,\"added\":%lld,\"updated\":%lld,"
                        "\"removed\":%lld,\"failed\":%lld",
                        event, static_cast<long long>(s.seen), static_cast<long long>(s.added),
                        static_cast<long long>(s.updated), static_cast<long long>(s.removed),
                        static_cast<long long>(s.failed));
  std::string json(line, static_cast<size_t>(n));
  if (std::string_view(event) == "summary") {
    std::snprintf(line, sizeof line, ",\"seconds\":%.3f", s.seconds);
    json += line;
  }
  return json + "}";
}

std::string FormatIndexSummary(const IndexSummary& s) {
  char line[256];
  std::snprintf(line, sizeof line,
                "%lld files seen, %lld added, %lld updated, %lld removed, %lld failed, %.2f s",
                static_cast<long long>(s.seen), static_cast<long long>(s.added),
                static_cast<long long>(s.updated), static_cast<long long>(s.removed),
                static_cast<long long>(s.failed), s.seconds);
  return line;
}

}  // namespace cantora
