// The file tests of song lists: whether a record's file exists inside its
// library, looked up as root (see platform/index/song_file.h) under an
// IF_RUN_AS guard of its own for each song.
//
// Most of a long list's time goes to these tests (four changes of ids and a
// confined lookup a song, system calls all), and they do not depend on one
// another: SongFileTests shares a list's tests between the request's thread
// and a second one, on another processor, each raising itself alone for
// each of its songs (IF_RUN_AS changes the ids of the thread that builds
// it). The second thread has a SongFiles of its own, given the roots of its
// records, never uses the database, and takes no signals; it ends before
// the tests are handed out, so no thread but the request's outlives a list
// (and raised ids that a failed restore left it, logged as ever, end with
// it).
#ifndef CANTORA_ENUMERATE_SONG_FILE_TESTS_H
#define CANTORA_ENUMERATE_SONG_FILE_TESTS_H

#include <atomic>
#include <cstddef>
#include <vector>

#include "platform/index/media_info.h"
#include "platform/index/song_file.h"

enum class FileTest { kExists, kMissing, kNoRoot };

// Whether info's file exists inside its library, looked up through files:
// located without privileges, then looked up as root under IF_RUN_AS built
// with guard_line. kNoRoot when the switch to root failed, logged as
// "<source>:<fail_line> Failed to run as root.".
FileTest TestSongFileAsRoot(cantora::SongFiles& files, const MediaInfo& info, int guard_line,
                            int fail_line);

// The tests of one list's records, asked for in the list's order; made for
// the one list (records freed and made again elsewhere must not meet tests
// made ahead for others).
class SongFileTests {
 public:
  // Through files, the request's, on the calling thread.
  explicit SongFileTests(cantora::SongFiles& files) : files_(files) {}
  SongFileTests(const SongFileTests&) = delete;
  SongFileTests& operator=(const SongFileTests&) = delete;

  // The test of info's file, the answer TestSongFileAsRoot gives. When info
  // is the record that the tests made ahead expect next, it is theirs.
  // Otherwise, when enough records follow info in its list (info.next), the
  // tests raise the ids (the thread is not root already) and the process
  // may run on more than one processor, info and those that follow it (up
  // to kAheadRecords) are tested now, on two threads; else info alone.
  //
  // The answers are those of testing one by one up to the first kNoRoot,
  // and kNoRoot from there on (the list ends at a failure to raise). The
  // first record is tested before the second thread starts: a failure there
  // is logged once, as one by one. Later, the first share's failure stops
  // the second, whose tests would not be handed out, but a failure the
  // second share met by then is logged too.
  FileTest Test(const MediaInfo& info, int guard_line, int fail_line);

  // How many records at most are tested ahead at once: the first item of a
  // long list waits for them.
  static constexpr size_t kAheadRecords = 1024;
  // How many records at least make it worth a thread (its start takes
  // about as long as a few dozen tests).
  static constexpr size_t kLeastForTwoThreads = 128;

 private:
  // Tests first and the records that follow it, ahead, on two threads;
  // leaves nothing ahead when there are too few or one processor.
  void TestAhead(const MediaInfo& first, int guard_line, int fail_line);
  // Tests ahead_[begin, end) through files in order, until a test is
  // kNoRoot or stop is set; false after a kNoRoot.
  bool TestShare(cantora::SongFiles& files, size_t begin, size_t end,
                 const std::atomic<bool>& stop);

  cantora::SongFiles& files_;
  // The records tested ahead, in their list's order, and their tests; the
  // next one expected, and the lines the tests were made with.
  std::vector<const MediaInfo*> ahead_;
  std::vector<FileTest> tests_;
  size_t next_ = 0;
  // Tests made one by one: all of them (one processor, or tests that change
  // no ids), or the records known to follow too few to share.
  bool one_by_one_ = false;
  size_t alone_ = 0;
  int guard_line_ = 0;
  int fail_line_ = 0;
};

#endif
