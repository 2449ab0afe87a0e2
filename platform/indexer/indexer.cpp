#include "platform/indexer/indexer.h"

#include <syslog.h>

#include <chrono>
#include <ctime>
#include <thread>
#include <utility>
#include <vector>

#include "platform/index/facets.h"
#include "platform/index/indexed_folder.h"
#include "platform/index/schema.h"
#include "platform/index/sql_functions.h"
#include "platform/indexer/existing_rows.h"
#include "platform/indexer/folder_records.h"
#include "platform/indexer/index_failures.h"
#include "platform/indexer/index_finish.h"
#include "platform/indexer/index_status.h"
#include "platform/indexer/index_writer.h"
#include "platform/indexer/playlist_scan.h"
#include "platform/indexer/progress.h"
#include "platform/indexer/read_pipeline.h"
#include "platform/indexer/song_lyrics.h"
#include "platform/indexer/walked_roots.h"
#include "platform/indexer/write_batch.h"

namespace cantora {
namespace {

// A file to read, with the row it replaces (null for a new file).
struct Job {
  uint32_t root;
  uint32_t file;
  ExistingSong* existing;
};

// One run: the walk matched against the rows loaded, then the writes, in
// the order folders, songs, vanished songs, the last transaction.
class IndexRun {
 public:
  IndexRun(sqlite::Database& db, const IndexOptions& options, IndexSummary* summary)
      : db_(db),
        options_(options),
        summary_(summary),
        batch_(db, options.batch),
        progress_(options.report, options.report != nullptr && options.progress),
        json_(options.json, *summary),
        now_(static_cast<int64_t>(std::time(nullptr))),
        scope_(options.scope) {}

  // The playlist files of every root, once Run has walked them.
  std::vector<WalkedPlaylists> WalkedPlaylistFiles() const {
    std::vector<WalkedPlaylists> all;
    for (const WalkedRoot& r : roots_) all.push_back(PlaylistsOf(r.tree, r.walk));
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
        !LoadWalkedRoots(db_, &roots_, error))
      return false;
    // The walk waits on the file system, reading the rows waits on the
    // processor: on a large library they take seconds each, so they overlap
    // (the connection is used by the reading thread alone meanwhile).
    bool loaded = false;
    std::string load_error;
    std::thread load([&] {
      loaded = LoadExistingSongs(db_, scope_, &songs_, &load_error) &&
               LoadExistingFolders(db_, &folders_, &load_error) &&
               failures_.Load(db_, &load_error);
    });
    WalkRoots(&roots_, scope_, [this](const std::string& w) { Report(w); });
    load.join();
    if (!loaded) {
      *error = load_error;
      return false;
    }
    KeepUnreadableRoots();
    if (scope_ != nullptr) KeepOutOfScope();
    return StoreFolderRecords(&roots_, &folders_, &batch_, &writer_, now_, error) &&
           StoreSongs(error) && RemoveVanishedSongs(error) && Finish(error);
  }

  // Brings index_failure in line with this run's failures.
  bool StoreFailures(std::string* error) { return failures_.Store(db_, now_, error); }

 private:
  void Report(const std::string& line) {
    syslog(LOG_ERR, "index: %s", line.c_str());
    if (options_.report != nullptr) progress_.Message("index: " + line);
  }

  // Rows below a root whose state is unknown stay as they are.
  void KeepUnreadableRoots() {
    for (const WalkedRoot& r : roots_) {
      if (r.walk != WalkResult::kUnreadable) continue;
      for (auto& s : songs_)
        if (IsSameOrBelow(s.path, r.tree.root)) s.song.seen = true;
      for (auto& f : folders_)
        if (IsSameOrBelow(f.first, r.tree.root)) f.second.seen = true;
      failures_.KeepWhere([&](const std::string& path) { return IsSameOrBelow(path, r.tree.root); });
    }
  }

  // A scoped run: records and failures outside the scope stay.
  void KeepOutOfScope() {
    for (auto& f : folders_)
      if (!InScope(f.first, true, *scope_)) f.second.seen = true;
    failures_.KeepWhere([&](const std::string& path) { return !InScope(path, false, *scope_); });
    MarkPlaceholdersHoldingAudio(&roots_, folders_);
  }

  bool StoreSongs(std::string* error) {
    std::vector<Job> jobs;
    std::string path;
    for (uint32_t ri = 0; ri < roots_.size(); ++ri) {
      WalkedRoot& r = roots_[ri];
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
    json_.Write("progress");
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
      json_.ProgressNow();
    }
    progress_.Clear();
    return true;
  }

  bool Relink(const ExistingSong& old, const WalkedRoot& r, const FoundFile& file,
              std::string* error) {
    int64_t folder_id = r.folder_ids[file.folder];
    if (old.library == r.tree.library && old.folder_id == folder_id) return true;
    return batch_.Write(
        error, [&] { return writer_.RelinkSong(old.id, r.tree.library, folder_id, error); });
  }

  // Stores the song read for job; its tags are moved out of result.
  bool Store(const Job& job, ReadResult result, std::string* error) {
    const WalkedRoot& r = roots_[job.root];
    const FoundFile& file = r.tree.files[job.file];
    std::string path = r.tree.PathOf(file);
    if (!result.ok) {
      ++summary_->failed;
      Report("skipped " + path + ": " + result.error);
      failures_.Add(path, file.mtime, file.size, result.error);
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
    json_.Write("progress");
    return true;
  }

  // Whether path is a file that failed before and has not changed since:
  // it is counted and reported again, not read.
  bool KnownFailure(const std::string& path, const FoundFile& file) {
    const std::string* reason = failures_.Known(path, file.mtime, file.size);
    if (reason == nullptr) return false;
    ++summary_->failed;
    Report("skipped " + path + ": " + *reason);
    return true;
  }

  bool Finish(std::string* error) {
    bool vanished_folders = false;
    for (const auto& f : folders_) vanished_folders = vanished_folders || !f.second.seen;
    // An unchanged library, whose facets no earlier run left stale, is done
    // but for its side lyrics files (.lrc, .txt), which change without their
    // songs: summing up a large library again costs seconds.
    if (!batch_.wrote() && !vanished_folders && FacetsCurrent(db_))
      return SyncSideLyricsAlone(db_, roots_, scope_, error);
    if (!batch_.Begin(error)) return false;
    for (const auto& f : folders_)
      if (!f.second.seen && !writer_.DeleteFolder(f.second.id, error)) return false;
    if (scope_ != nullptr && !RemoveEmptiedFolders(db_, roots_, error)) return false;
    if (!SyncWalkedSideLyrics(db_, roots_, scope_, error) || !RebuildSummaries(db_, error) ||
        !batch_.Commit(error))
      return false;
    // A scoped run's counts are those of a few folders, not of the library.
    if (scope_ == nullptr && ChangedMuch()) Compact(db_, [this](const std::string& w) { Report(w); });
    return true;
  }

  // A tenth of the library or more added, read again or removed.
  bool ChangedMuch() const {
    int64_t changed = summary_->added + summary_->updated + summary_->removed;
    return changed > 0 && changed * 10 >= summary_->seen;
  }

  sqlite::Database& db_;
  const IndexOptions& options_;
  IndexSummary* summary_;
  WriteBatch batch_;
  Progress progress_;
  IndexJsonLines json_;
  const int64_t now_;
  const std::vector<ScopeFolder>* scope_;
  IndexFailures failures_;
  IndexWriter writer_;
  LyricsWriter lyrics_;
  std::vector<WalkedRoot> roots_;
  ExistingSongs songs_;
  ExistingFolders folders_;
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
  if (ok) IndexJsonLines(options.json, *summary).Write("summary");
  return ok;
}

}  // namespace cantora
