// The memory one request takes beside its answer does not grow with the
// library: a random smart playlist of 50 songs, and the song list of a
// genre that holds a quarter of the library, each run on the same library
// at 2,000 and at 100,000 songs. The gateway's peak resident memory
// (ru_maxrss, measured by a small parent that starts it) may grow by what
// it reads through the index's page cache (bounded by its setting, 16 MB)
// and by the sort key of each song listed, no more. The gateway of before
// held a record for every id of the selection to pick fifty (+16 MB here),
// and every record of the genre before answering (+30 MB).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

constexpr int kSmall = 2000;
constexpr int kLarge = 100000;
// Every fourth song is in the listed genre.
constexpr int kGenreEvery = 4;
constexpr const char* kGenre = "Memory";
// What may grow beside the answer as the library grows: the page cache of
// the index (PRAGMA cache_size in platform/index/browse.cpp), which a long
// list fills; the index entries a random order reads its ids from, through
// that cache (about 16 bytes a song); the sort key of each song of a long
// list (SongKeys: 32 bytes, twice while its array grows); and slack for
// the heap's 2 MiB huge pages.
constexpr long kPageCacheKb = 16000 * 1024 / 1000;
constexpr long kIdIndexBytes = 24;
constexpr long kSortKeyBytes = 64;
constexpr long kSlackKb = 4 * 1024;

class RequestMemory : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary({Tune("seed/seed.mp3", "Seed", "Seed Album", "Seed Artist", kGenre)});
    std::ofstream(instance_->Path("data/smart.playlist"))
        << R"({"playlists": [{"name": "Random 50", "order": "random", "limit": 50}]})";
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  // Songs [first, end) of the library: files linked to copies of the
  // indexed seed song (a copy per folder of a thousand: a file has at most
  // 65,000 names), each row copied from the seed's and given its own path,
  // title, album and track (twelve to an album), and the genre for every
  // fourth. Written into the index directly: indexing a hundred thousand
  // files would take the test minutes.
  static void Grow(int first, int end) {
    const std::string music = instance_->music();
    const std::string seed = music + "/seed/seed.mp3";
    std::string bytes;
    {
      std::ifstream in(seed, std::ios::binary);
      bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    mkdir((music + "/many").c_str(), 0755);
    std::string copy;
    for (int i = first; i < end; ++i) {
      std::string folder = music + "/many/" + std::to_string(i / 1000);
      if (i % 1000 == 0 || i == first) {
        mkdir(folder.c_str(), 0755);
        copy = folder + "/copy";
        std::ofstream(copy, std::ios::binary) << bytes;
      }
      std::string path = folder + "/" + std::to_string(i) + ".mp3";
      ASSERT_EQ(0, link(copy.c_str(), path.c_str())) << path;
    }
    sqlite::Database db;
    instance_->OpenIndex(&db);
    sqlite::Statement st = db.Prepare(
        "WITH RECURSIVE n(i) AS (SELECT ?1 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < ?2)"
        " INSERT INTO song(library, path, folder_id, title, album, artist, album_artist, genre,"
        " composer, comment, track, disc, year, duration, bitrate, frequency, channel, filesize,"
        " covercount, artist_sort, artist_search, album_artist_search, create_date, mtime)"
        " SELECT library, ?3 || '/many/' || (i / 1000) || '/' || i || '.mp3', folder_id,"
        " 'Song ' || i, 'Album ' || (i / 12), artist, album_artist,"
        " CASE WHEN i % ?4 = 0 THEN genre ELSE 'Other' END, composer, comment, i % 12 + 1,"
        " disc, year, duration, bitrate, frequency, channel, filesize, covercount, artist_sort,"
        " artist_search, album_artist_search, create_date, mtime"
        " FROM song, n WHERE song.path = ?5");
    ASSERT_TRUE(st.IsValid()) << db.ErrorMessage();
    st.Bind(1, first).Bind(2, end).Bind(3, music).Bind(4, kGenreEvery).Bind(5, seed);
    ASSERT_TRUE(db.Exec("BEGIN"));
    ASSERT_EQ(SQLITE_DONE, st.Step()) << db.ErrorMessage();
    ASSERT_TRUE(db.Exec("COMMIT"));
    // The statistics the indexer leaves after a large change (facets.cpp),
    // by which SQLite reads a few songs by id rather than walking a library.
    ASSERT_TRUE(db.Exec("PRAGMA analysis_limit=1000; ANALYZE song;"));
  }

  // The smaller peak of two runs of the request, after checking the answer.
  static long PeakKb(const std::string& query, long total) {
    long peak = -1;
    for (int run = 0; run < 2; ++run) {
      CgiRequest request;
      request.session = *session_;
      request.query = query;
      request.measure_peak = true;
      CgiResult r = harness::RunCgi(*instance_, request);
      EXPECT_EQ(0, r.status);
      EXPECT_TRUE(r.has_json) << query;
      EXPECT_EQ(total, r.json["total"].asInt64()) << query;
      EXPECT_GT(r.peak_kb, 0);
      if (peak < 0 || r.peak_kb < peak) peak = r.peak_kb;
    }
    return peak;
  }

  static long GenreSongs(int songs) {
    // The seed, and every fourth of songs 1 .. songs - 1.
    return 1 + (songs - 1) / kGenreEvery;
  }
};

TEST_F(RequestMemory, PeakBesideTheAnswerDoesNotGrowWithTheLibrary) {
  if (access(harness::Bin("cantora-bench-floor").c_str(), X_OK) != 0)
    GTEST_SKIP() << "no cantora-bench-floor here (a sanitizer build): memory is not measured";
  const std::string random = "action=smartpls_song_enum&pls_id=0";
  const std::string genre = std::string("action=song_enum&genre_name=") + kGenre;

  Grow(1, kSmall);
  long random_small = PeakKb(random, 50);
  long genre_small = PeakKb(genre, GenreSongs(kSmall));
  Grow(kSmall, kLarge);
  long random_large = PeakKb(random, 50);
  long genre_large = PeakKb(genre, GenreSongs(kLarge));

  // Fifty songs: nothing beside the answer grows with the library but the
  // index entries of the ids read.
  EXPECT_LE(random_large - random_small, (kLarge - kSmall) * kIdIndexBytes / 1024 + kSlackKb)
      << "random 50: " << random_small << " kB at " << kSmall << " songs, " << random_large
      << " kB at " << kLarge;
  long more_listed = GenreSongs(kLarge) - GenreSongs(kSmall);
  EXPECT_LE(genre_large - genre_small,
            kPageCacheKb + more_listed * kSortKeyBytes / 1024 + kSlackKb)
      << "genre: " << genre_small << " kB for " << GenreSongs(kSmall) << " songs, "
      << genre_large << " kB for " << GenreSongs(kLarge);
}

}  // namespace
