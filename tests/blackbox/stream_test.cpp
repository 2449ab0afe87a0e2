// stream.cgi through the CGI environment: songs sent as they are (whole,
// by ranges, under conditions), transcoded by ffmpeg (decoded here with
// ffprobe and ffmpeg), the one 404 for everything a user may not hear, and
// the transcoder's limits and end.
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

const char kForbidden[] = "Status: 403 Forbidden\r\n\r\n";
const char kNotFound[] = "Status: 404 Not Found\r\n\r\n";
const char kBadRequest[] = "Status: 400 Bad Request\r\n\r\n";

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// The id of the song at path as the index holds it.
std::string SongId(const LibraryInstance& instance, const std::string& path) {
  std::string out = instance.Sql("SELECT id FROM song WHERE path = '" + path + "'").out;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  if (out.empty()) throw std::runtime_error("not indexed: " + path);
  return out;
}

// Audio bytes kept in a file for ffmpeg and ffprobe.
class AudioFile {
 public:
  explicit AudioFile(const std::string& bytes) {
    char name[] = "/tmp/cantora-stream-XXXXXX";
    int fd = mkstemp(name);
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    close(fd);
    path_ = name;
    WriteBytes(path_, bytes);
  }
  ~AudioFile() { unlink(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// The seconds of audio a file decodes to, counted in 8 kHz mono samples
// (what the container claims plays no part); -1 when it does not decode.
double DecodedSeconds(const std::string& path) {
  harness::CommandResult r = harness::Run(
      {"/usr/bin/ffmpeg", "-v", "error", "-i", path, "-f", "s16le", "-ac", "1", "-ar", "8000", "-"});
  if (r.status != 0 || !r.err.empty()) return -1;
  return static_cast<double>(r.out.size()) / 2 / 8000;
}

// A transcode lasts as long as its source, and a little more: an encoder
// primes its first frame and pads its last one, about 0.1 to 0.25 s at the
// 8 kHz of the test songs (a few tens of milliseconds at 44.1 kHz).
void ExpectDuration(double actual, double expected) {
  EXPECT_GE(actual, expected - 0.05);
  EXPECT_LE(actual, expected + 0.3);
}

// One value of the first audio stream as ffprobe reports it.
std::string Probe(const std::string& path, const std::string& entry) {
  harness::CommandResult r = harness::Run({"/usr/bin/ffprobe", "-v", "error", "-select_streams",
                                           "a:0", "-show_entries", "stream=" + entry, "-of",
                                           "default=noprint_wrappers=1:nokey=1", path});
  std::string out = r.out;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// The processes whose parent is pid.
std::vector<pid_t> ChildrenOf(pid_t parent) {
  std::vector<pid_t> children;
  harness::CommandResult r = harness::Run({"/bin/ps", "-o", "pid=", "--ppid", std::to_string(parent)});
  std::istringstream lines(r.out);
  pid_t pid;
  while (lines >> pid) children.push_back(pid);
  return children;
}

// Whether pid still runs (a zombie has ended).
bool Running(pid_t pid) {
  std::string stat = ReadBytes("/proc/" + std::to_string(pid) + "/stat");
  size_t paren = stat.rfind(')');
  return paren != std::string::npos && paren + 2 < stat.size() && stat[paren + 2] != 'Z';
}

bool EndsWithin(pid_t pid, int ms) {
  for (int waited = 0; waited < ms; waited += 10) {
    if (!Running(pid)) return true;
    usleep(10000);
  }
  return !Running(pid);
}

// The program name of a process.
std::string CommandOf(pid_t pid) {
  std::string comm = ReadBytes("/proc/" + std::to_string(pid) + "/comm");
  while (!comm.empty() && comm.back() == '\n') comm.pop_back();
  return comm;
}

// A transcode that the test reads at its own pace: the live CGI once its
// header has come, and in *ffmpeg the transcoder it started (-1 when the
// header is not of type, or there is none).
harness::LiveCgi StartTranscode(const harness::Instance& instance, const CgiRequest& request,
                                const std::string& type, pid_t* ffmpeg) {
  harness::LiveCgi cgi = harness::StartCgi(instance, request);
  std::string header = harness::ReadCgiHeader(cgi);
  *ffmpeg = -1;
  if (header.find("Content-Type: " + type + "\r\n") == std::string::npos) {
    ADD_FAILURE() << header;
    return cgi;
  }
  for (pid_t child : ChildrenOf(cgi.pid))
    if (CommandOf(child) == "ffmpeg") *ffmpeg = child;
  return cgi;
}

const std::vector<std::pair<std::string, std::string>> kAsItIs = {
    {"song.mp3", "audio/mpeg"}, {"song.flac", "audio/flac"}, {"song.ogg", "audio/ogg"},
    {"song.opus", "audio/ogg"}, {"song.m4a", "audio/mp4"},   {"song.wav", "audio/wav"}};
const std::vector<std::string> kTranscoded = {"song.wma", "song.wv", "song.aiff", "song-alac.m4a"};

std::vector<fixture::Song> Songs() {
  std::vector<fixture::Song> songs;
  for (const auto& kind : kAsItIs) songs.push_back(Tune("plain/" + kind.first, kind.first, "Plain", "Streamer"));
  for (const auto& file : kTranscoded) songs.push_back(Tune("other/" + file, file, "Other", "Streamer"));
  for (const char* file : {"gone/song.mp3", "linked/song.mp3", "swapped/song.mp3", "inside/song.mp3"})
    songs.push_back(Tune(file, file, "Edge", "Streamer"));
  fixture::Song silence = Tune("long/ten.wav", "Ten seconds", "Long", "Streamer");
  silence.seconds = 10;
  songs.push_back(silence);
  fixture::Song minutes = Tune("long/two-minutes.wav", "Two minutes", "Long", "Streamer");
  minutes.seconds = 120;
  songs.push_back(minutes);
  return songs;
}

class StreamTest : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary(Songs());
    LibraryInstance& in = *instance_;
    ASSERT_EQ(in.Admin({"user", "personal", "alice", "on"}).status, 0);
    bob_ = new std::string(in.AddUser("bob", true));
    for (const char* user : {"alice", "bob"}) {
      harness::Run({"/bin/mkdir", "-p", in.PersonalFolder(user)});
      in.AddSongs({Tune("mine.mp3", std::string(user) + "'s", "Mine", user)}, in.PersonalFolder(user));
    }
    in.Index();
    // Files that change after indexing: one goes, one becomes a link out of
    // the library, one's folder becomes a link to a folder outside.
    const std::string m = in.music();
    WriteBytes(in.Path("outside.mp3"), ReadBytes(m + "/plain/song.mp3") + "SECRET");
    harness::Run({"/bin/mkdir", "-p", in.Path("elsewhere")});
    WriteBytes(in.Path("elsewhere/song.mp3"), ReadBytes(m + "/plain/song.mp3") + "SECRET");
    unlink((m + "/gone/song.mp3").c_str());
    unlink((m + "/linked/song.mp3").c_str());
    symlink(in.Path("outside.mp3").c_str(), (m + "/linked/song.mp3").c_str());
    harness::Run({"/bin/rm", "-rf", m + "/swapped"});
    symlink(in.Path("elsewhere").c_str(), (m + "/swapped").c_str());
    // A link inside the library is followed.
    unlink((m + "/inside/song.mp3").c_str());
    symlink((m + "/plain/song.mp3").c_str(), (m + "/inside/song.mp3").c_str());
  }
  static void TearDownTestSuite() {
    delete bob_;
    bob_ = nullptr;
    CloseLibrary();
  }

  static std::string Id(const std::string& path) { return SongId(*instance_, instance_->music() + "/" + path); }
  static std::string PersonalId(const std::string& user) {
    return "personal_" + SongId(*instance_, instance_->PersonalFolder(user) + "/mine.mp3");
  }

  // A GET of stream.cgi?<query> by alice.
  static CgiRequest Request(const std::string& query) {
    CgiRequest request;
    request.program = "stream.cgi";
    request.query = query;
    request.session = *session_;
    return request;
  }

  CgiResult Stream(const std::string& query, const std::map<std::string, std::string>& headers = {},
                   const std::string& method = "GET", const std::string& session = "") {
    CgiRequest request = Request(query);
    request.method = method;
    if (!session.empty()) request.session = session;
    request.env = headers;
    return harness::RunCgi(*instance_, request);
  }

  static std::string* bob_;
};

std::string* StreamTest::bob_ = nullptr;

TEST_F(StreamTest, PlayableFormatsAreSentWholeAsTheyAre) {
  for (const auto& kind : kAsItIs) {
    SCOPED_TRACE(kind.first);
    const std::string bytes = ReadBytes(instance_->music() + "/plain/" + kind.first);
    CgiResult r = Stream("id=" + Id("plain/" + kind.first));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.headers.count("Status"), 0u) << r.out.substr(0, 200);
    EXPECT_EQ(r.headers["Content-Type"], kind.second);
    EXPECT_EQ(r.headers["Content-Length"], std::to_string(bytes.size()));
    EXPECT_EQ(r.headers["Accept-Ranges"], "bytes");
    EXPECT_FALSE(r.headers["ETag"].empty());
    EXPECT_FALSE(r.headers["Last-Modified"].empty());
    EXPECT_TRUE(r.body == bytes);
  }
}

TEST_F(StreamTest, EveryRangeFormGivesItsBytes) {
  const std::string bytes = ReadBytes(instance_->music() + "/plain/song.flac");
  const long long size = static_cast<long long>(bytes.size());
  const std::string id = "id=" + Id("plain/song.flac");
  struct Case {
    std::string range;
    long long first, last;
  };
  for (const Case& c : std::vector<Case>{{"bytes=10-19", 10, 19},
                                         {"bytes=100-", 100, size - 1},
                                         {"bytes=-50", size - 50, size - 1},
                                         {"bytes=0-99999999999", 0, size - 1},
                                         {"bytes=-99999999", 0, size - 1},
                                         {"bytes=" + std::to_string(size - 1) + "-", size - 1, size - 1},
                                         {"bytes = 5-5", 5, 5}}) {
    SCOPED_TRACE(c.range);
    CgiResult r = Stream(id, {{"HTTP_RANGE", c.range}});
    EXPECT_EQ(r.headers["Status"], "206 Partial Content");
    EXPECT_EQ(r.headers["Content-Range"], "bytes " + std::to_string(c.first) + "-" +
                                              std::to_string(c.last) + "/" + std::to_string(size));
    EXPECT_EQ(r.headers["Content-Length"], std::to_string(c.last - c.first + 1));
    EXPECT_EQ(r.headers["Content-Type"], "audio/flac");
    EXPECT_TRUE(r.body == bytes.substr(static_cast<size_t>(c.first), static_cast<size_t>(c.last - c.first + 1)));
  }
}

TEST_F(StreamTest, ARangePastTheEndIsUnsatisfiable) {
  const std::string size = std::to_string(ReadBytes(instance_->music() + "/plain/song.mp3").size());
  for (const std::string& range : {"bytes=" + size + "-", "bytes=" + size + "-" + size + "0", std::string("bytes=-0")}) {
    SCOPED_TRACE(range);
    CgiResult r = Stream("id=" + Id("plain/song.mp3"), {{"HTTP_RANGE", range}});
    EXPECT_EQ(r.headers["Status"], "416 Range Not Satisfiable");
    EXPECT_EQ(r.headers["Content-Range"], "bytes */" + size);
    EXPECT_EQ(r.body, "");
  }
}

TEST_F(StreamTest, SeveralRangesGetTheWholeFileAndOtherUnitsAreIgnored) {
  const std::string bytes = ReadBytes(instance_->music() + "/plain/song.ogg");
  for (const char* range : {"bytes=0-9,20-29", "bytes=-5, 0-3", "pages=1-2"}) {
    SCOPED_TRACE(range);
    CgiResult r = Stream("id=" + Id("plain/song.ogg"), {{"HTTP_RANGE", range}});
    EXPECT_EQ(r.headers.count("Status"), 0u);
    EXPECT_EQ(r.headers.count("Content-Range"), 0u);
    EXPECT_EQ(r.headers["Content-Length"], std::to_string(bytes.size()));
    EXPECT_TRUE(r.body == bytes);
  }
}

TEST_F(StreamTest, HeadAnswersTheHeaderAlone) {
  const std::string bytes = ReadBytes(instance_->music() + "/plain/song.m4a");
  CgiResult whole = Stream("id=" + Id("plain/song.m4a"));
  CgiResult r = Stream("id=" + Id("plain/song.m4a"), {{"HTTP_RANGE", "bytes=0-9"}}, "HEAD");
  EXPECT_EQ(r.headers.count("Status"), 0u);
  EXPECT_EQ(r.headers["Content-Length"], std::to_string(bytes.size()));
  EXPECT_EQ(r.headers["Content-Type"], "audio/mp4");
  EXPECT_EQ(r.headers["ETag"], whole.headers["ETag"]);
  EXPECT_EQ(r.headers["Accept-Ranges"], "bytes");
  EXPECT_EQ(r.body, "");
  // A transcoded song: the type it would have, and no transcoder started.
  CgiResult t = Stream("id=" + Id("other/song.wma"), {}, "HEAD");
  EXPECT_EQ(t.headers["Content-Type"], "audio/mpeg");
  EXPECT_EQ(t.body, "");
}

TEST_F(StreamTest, ValidatorsAnswerNotModified) {
  const std::string id = "id=" + Id("plain/song.mp3");
  CgiResult first = Stream(id);
  const std::string tag = first.headers["ETag"], modified = first.headers["Last-Modified"];
  ASSERT_FALSE(tag.empty());
  for (const auto& headers : std::vector<std::map<std::string, std::string>>{
           {{"HTTP_IF_NONE_MATCH", tag}},
           {{"HTTP_IF_NONE_MATCH", "\"other\", W/" + tag}},
           {{"HTTP_IF_NONE_MATCH", "*"}},
           {{"HTTP_IF_MODIFIED_SINCE", modified}},
           {{"HTTP_IF_MODIFIED_SINCE", "Fri, 01 Jan 2100 00:00:00 GMT"}}}) {
    CgiResult r = Stream(id, headers);
    EXPECT_EQ(r.headers["Status"], "304 Not Modified") << headers.begin()->second;
    EXPECT_EQ(r.headers["ETag"], tag);
    EXPECT_EQ(r.body, "");
  }
  for (const auto& headers : std::vector<std::map<std::string, std::string>>{
           {{"HTTP_IF_NONE_MATCH", "\"other\""}},
           {{"HTTP_IF_MODIFIED_SINCE", "Thu, 01 Jan 1970 00:00:01 GMT"}},
           // If-None-Match decides alone when both are given.
           {{"HTTP_IF_NONE_MATCH", "\"other\""}, {"HTTP_IF_MODIFIED_SINCE", modified}}}) {
    CgiResult r = Stream(id, headers);
    EXPECT_EQ(r.headers.count("Status"), 0u) << headers.begin()->second;
    EXPECT_TRUE(r.body == first.body);
  }
}

TEST_F(StreamTest, IfRangeAppliesTheRangeOnlyToTheSameFile) {
  const std::string id = "id=" + Id("plain/song.wav");
  CgiResult first = Stream(id);
  const std::string tag = first.headers["ETag"], modified = first.headers["Last-Modified"];
  for (const std::string& same : {tag, modified}) {
    CgiResult r = Stream(id, {{"HTTP_RANGE", "bytes=4-7"}, {"HTTP_IF_RANGE", same}});
    EXPECT_EQ(r.headers["Status"], "206 Partial Content") << same;
    EXPECT_EQ(r.body, first.body.substr(4, 4));
  }
  for (const std::string& other : {std::string("\"other\""), "W/" + tag, std::string("Thu, 01 Jan 1970 00:00:01 GMT")}) {
    CgiResult r = Stream(id, {{"HTTP_RANGE", "bytes=4-7"}, {"HTTP_IF_RANGE", other}});
    EXPECT_EQ(r.headers.count("Status"), 0u) << other;
    EXPECT_TRUE(r.body == first.body);
  }
}

TEST_F(StreamTest, PersonalSongsAreTheirOwnersAlone) {
  const std::string bytes = ReadBytes(instance_->PersonalFolder("alice") + "/mine.mp3");
  CgiResult mine = Stream("id=" + PersonalId("alice"));
  EXPECT_EQ(mine.headers["Content-Type"], "audio/mpeg");
  EXPECT_TRUE(mine.body == bytes);
  // Without its prefix the id names a shared song, which it is not.
  const std::string bare = PersonalId("alice").substr(9);
  EXPECT_EQ(Stream("id=" + bare).out, kNotFound);
  // Bob's song is not Alice's to hear, nor Alice's Bob's.
  EXPECT_EQ(Stream("id=" + PersonalId("bob")).out, kNotFound);
  EXPECT_EQ(Stream("id=" + PersonalId("alice"), {}, "GET", *bob_).out, kNotFound);
  EXPECT_TRUE(Stream("id=" + PersonalId("bob"), {}, "GET", *bob_).body ==
              ReadBytes(instance_->PersonalFolder("bob") + "/mine.mp3"));
}

TEST_F(StreamTest, EverythingOutOfReachIsTheSameNotFound) {
  const std::vector<std::string> ids = {"999999", "0", PersonalId("bob"), Id("gone/song.mp3"),
                                        Id("linked/song.mp3"), Id("swapped/song.mp3")};
  for (const std::string& id : ids) {
    CgiResult r = Stream("id=" + id, {{"HTTP_RANGE", "bytes=0-"}});
    EXPECT_EQ(r.out, kNotFound) << id;
    // Nor does a transcode reach them.
    EXPECT_EQ(Stream("id=" + id + "&format=opus").out, kNotFound) << id;
  }
}

TEST_F(StreamTest, ALinkInsideTheLibraryIsFollowed) {
  CgiResult r = Stream("id=" + Id("inside/song.mp3"));
  EXPECT_TRUE(r.body == ReadBytes(instance_->music() + "/plain/song.mp3"));
}

TEST_F(StreamTest, WithoutASessionOnlyForbidden) {
  CgiRequest request;
  request.program = "stream.cgi";
  request.query = "id=" + Id("plain/song.mp3");
  EXPECT_EQ(harness::RunCgi(*instance_, request).out, kForbidden);
  request.session = std::string(64, 'a');
  EXPECT_EQ(harness::RunCgi(*instance_, request).out, kForbidden);
  request.session.clear();
  request.query += "&_sid=" + *session_;
  EXPECT_EQ(harness::RunCgi(*instance_, request).headers["Content-Type"], "audio/mpeg");
  // Bad parameters come second: nothing is told before signing in.
  request.query = "id=abc";
  request.session.clear();
  EXPECT_EQ(harness::RunCgi(*instance_, request).out, kForbidden);
}

TEST_F(StreamTest, HostileParametersAreBadRequests) {
  const std::string id = Id("plain/song.mp3");
  for (const std::string& query :
       {std::string(""), std::string("id="), std::string("id=abc"), std::string("id=-1"),
        std::string("id=1%20or%201=1"), std::string("id=1;2"), std::string("id=+1"),
        std::string("id=99999999999999999999"), std::string("id=personal_"),
        std::string("id=personal_x1"), std::string("id=../../etc/passwd"),
        "id=" + id + "&format=flac", "id=" + id + "&format=", "id=" + id + "&format=MP3",
        "id=" + id + "&bitrate=abc", "id=" + id + "&bitrate=-64", "id=" + id + "&bitrate=0",
        "id=" + id + "&bitrate=9999999", "id=" + id + "&offset=-3", "id=" + id + "&offset=abc",
        "id=" + id + "&offset=1e5", "id=" + id + "&offset=1.2.3", "id=" + id + "&offset=99999999"}) {
    EXPECT_EQ(Stream(query).out, kBadRequest) << query;
  }
  for (const char* range : {"bytes=abc", "bytes=5-2", "bytes=-", "bytes=1-2-3", "bytes=",
                            "bytes=99999999999999999999-", "bytes=--5", "bytes"}) {
    EXPECT_EQ(Stream("id=" + id, {{"HTTP_RANGE", range}}).out, kBadRequest) << range;
  }
  EXPECT_EQ(Stream("id=" + id, {}, "POST").out, "Status: 405 Method Not Allowed\r\nAllow: GET, HEAD\r\n\r\n");
}

TEST_F(StreamTest, FormatsBrowsersCannotPlayAreTranscodedToMp3) {
  for (const std::string& file : kTranscoded) {
    SCOPED_TRACE(file);
    CgiResult r = Stream("id=" + Id("other/" + file));
    EXPECT_EQ(r.headers["Content-Type"], "audio/mpeg");
    EXPECT_EQ(r.headers["Accept-Ranges"], "none");
    EXPECT_EQ(r.headers.count("Content-Length"), 0u);
    AudioFile out(r.body);
    EXPECT_EQ(Probe(out.path(), "codec_name"), "mp3");
    double source = DecodedSeconds(instance_->music() + "/other/" + file);
    ASSERT_GT(source, 0.2);
    ExpectDuration(DecodedSeconds(out.path()), source);
  }
}

TEST_F(StreamTest, AnyFormatAskedForIsTranscoded) {
  const std::string id = "id=" + Id("long/ten.wav");
  struct Case {
    const char* query;
    const char* type;
    const char* codec;
  };
  for (const Case& c : {Case{"&format=opus", "audio/ogg", "opus"}, Case{"&format=aac", "audio/aac", "aac"},
                        Case{"&format=mp3&bitrate=32", "audio/mpeg", "mp3"}}) {
    SCOPED_TRACE(c.query);
    CgiResult r = Stream(id + c.query);
    EXPECT_EQ(r.headers["Content-Type"], c.type);
    AudioFile out(r.body);
    EXPECT_EQ(Probe(out.path(), "codec_name"), c.codec);
    ExpectDuration(DecodedSeconds(out.path()), 10.0);
  }
  // 32 kbit/s asked, 32 given; far more asked, the configured largest (the
  // encoder's own largest at 8 kHz is lower still).
  AudioFile low(Stream(id + "&format=mp3&bitrate=32").body);
  EXPECT_EQ(Probe(low.path(), "bit_rate"), "32000");
  AudioFile high(Stream(id + "&format=mp3&bitrate=2000").body);
  EXPECT_LE(std::atoi(Probe(high.path(), "bit_rate").c_str()), 320000);
  EXPECT_GT(std::atoi(Probe(high.path(), "bit_rate").c_str()), 32000);
}

TEST_F(StreamTest, AnOffsetStartsTheStreamThere) {
  const std::string id = "id=" + Id("long/ten.wav");
  for (const auto& c : std::vector<std::pair<std::string, double>>{{"7", 3.0}, {"2.5", 7.5}}) {
    SCOPED_TRACE(c.first);
    CgiResult r = Stream(id + "&offset=" + c.first);
    EXPECT_EQ(r.headers["Content-Type"], "audio/mpeg");
    AudioFile out(r.body);
    ExpectDuration(DecodedSeconds(out.path()), c.second);
  }
  // A transcoded format, from its start or not.
  CgiResult wma = Stream("id=" + Id("other/song.wma") + "&offset=0.25&format=opus");
  AudioFile out(wma.body);
  ExpectDuration(DecodedSeconds(out.path()),
                 DecodedSeconds(instance_->music() + "/other/song.wma") - 0.25);
}

TEST_F(StreamTest, AReaderThatLeavesEndsTheTranscoder) {
  pid_t ffmpeg;
  harness::LiveCgi cgi = StartTranscode(
      *instance_, Request("id=" + Id("long/two-minutes.wav") + "&format=mp3"), "audio/mpeg", &ffmpeg);
  ASSERT_GT(ffmpeg, 0);
  // The pipes are full: both wait for the reader, who leaves.
  EXPECT_EQ(harness::FinishCgi(&cgi, 3000), 0);
  EXPECT_TRUE(EndsWithin(ffmpeg, 1000));
}

TEST_F(StreamTest, TheWebServersTerminateEndsTheTranscoderToo) {
  pid_t ffmpeg;
  harness::LiveCgi cgi = StartTranscode(
      *instance_, Request("id=" + Id("long/two-minutes.wav") + "&format=opus"), "audio/ogg", &ffmpeg);
  ASSERT_GT(ffmpeg, 0);
  // lighttpd sends SIGTERM when its client goes; the reader is still there.
  kill(cgi.pid, SIGTERM);
  EXPECT_TRUE(EndsWithin(cgi.pid, 2000));
  EXPECT_TRUE(EndsWithin(ffmpeg, 1000));
  // It ended by itself, having reaped the transcoder.
  EXPECT_EQ(harness::FinishCgi(&cgi, 1000), 0);
  EXPECT_NE(kill(ffmpeg, 0), 0);
}

// Limits need an instance of their own: its configuration allows one
// transcode at a time.
TEST(StreamLimitTest, OverTheLimitAnswersServiceUnavailable) {
  LibraryInstance instance;
  fixture::Song minutes = Tune("two-minutes.wav", "Two minutes", "Long", "Streamer");
  minutes.seconds = 120;
  instance.AddSongs({minutes, Tune("song.mp3", "Song", "Short", "Streamer")});
  instance.Index();
  std::ofstream(instance.config(), std::ios::app) << "transcode_slots = 1\n";
  CgiRequest request;
  request.program = "stream.cgi";
  request.session = instance.AddUser("alice");
  request.query = "id=" + SongId(instance, instance.music() + "/two-minutes.wav") + "&format=mp3";
  pid_t ffmpeg;
  harness::LiveCgi holder = StartTranscode(instance, request, "audio/mpeg", &ffmpeg);
  ASSERT_GT(ffmpeg, 0);
  CgiResult busy = harness::RunCgi(instance, request);
  EXPECT_EQ(busy.out, "Status: 503 Service Unavailable\r\nRetry-After: 5\r\n\r\n");
  // A song sent as it is takes no slot.
  CgiRequest plain = request;
  plain.query = "id=" + SongId(instance, instance.music() + "/song.mp3");
  EXPECT_EQ(harness::RunCgi(instance, plain).headers["Content-Type"], "audio/mpeg");
  // A holder that dies frees its slot, and its transcoder ends with it.
  kill(holder.pid, SIGKILL);
  harness::FinishCgi(&holder, 3000);
  EXPECT_TRUE(EndsWithin(ffmpeg, 1000));
  request.query = "id=" + SongId(instance, instance.music() + "/song.mp3") + "&format=opus";
  EXPECT_EQ(harness::RunCgi(instance, request).headers["Content-Type"], "audio/ogg");
}

// With x_sendfile, a shared song is handed to the web server by the path of
// the file opened beneath its library; a personal one is sent by the CGI.
TEST(StreamSendfileTest, SharedSongsAreHandedOverByPathPersonalOnesSent) {
  LibraryInstance instance;
  instance.AddSongs({Tune("album/song.flac", "Song", "Album", "Streamer"),
                     Tune("100%41 Hits/song.mp3", "Hit", "Hits", "Streamer")});
  CgiRequest request;
  request.program = "stream.cgi";
  request.session = instance.AddUser("alice", true);
  harness::Run({"/bin/mkdir", "-p", instance.PersonalFolder("alice")});
  instance.AddSongs({Tune("mine.mp3", "Mine", "Mine", "alice")}, instance.PersonalFolder("alice"));
  // A link to the song, inside the library: the web server gets the file's
  // own path, with no link in it.
  ASSERT_EQ(symlink("album/song.flac", (instance.music() + "/linked.flac").c_str()), 0);
  instance.Index();
  std::ofstream(instance.config(), std::ios::app) << "x_sendfile = 1\n";
  char real[PATH_MAX];
  ASSERT_NE(realpath((instance.music() + "/album/song.flac").c_str(), real), nullptr);
  for (const std::string& path : {"/album/song.flac", "/linked.flac"}) {
    request.query = "id=" + SongId(instance, instance.music() + path);
    CgiResult shared = harness::RunCgi(instance, request);
    EXPECT_EQ(shared.headers["X-Sendfile"], real) << path;
    EXPECT_EQ(shared.headers["Content-Type"], "audio/flac");
    EXPECT_EQ(shared.body, "");
  }
  // lighttpd percent-decodes the path it is given: a name that looks
  // encoded must reach it as it is.
  request.query = "id=" + SongId(instance, instance.music() + "/100%41 Hits/song.mp3");
  EXPECT_EQ(harness::RunCgi(instance, request).headers["X-Sendfile"],
            std::string(real).substr(0, std::string(real).rfind("/album/")) + "/100%2541%20Hits/song.mp3");
  request.query = "id=personal_" + SongId(instance, instance.PersonalFolder("alice") + "/mine.mp3");
  CgiResult personal = harness::RunCgi(instance, request);
  EXPECT_EQ(personal.headers.count("X-Sendfile"), 0u);
  EXPECT_TRUE(personal.body == ReadBytes(instance.PersonalFolder("alice") + "/mine.mp3"));
}

// Installed setuid root and started by the web server's user: the song is
// opened as root in a folder the web user cannot read, and ffmpeg runs as
// the web user alone, reading the descriptor it was given.
TEST(StreamPrivilegeTest, TheSetuidStreamOpensAsRootAndTranscodesAsTheWebUser) {
  harness::Instance instance("nobody");
  const std::string music = instance.Path("private-music");
  ASSERT_EQ(mkdir(music.c_str(), 0700), 0);
  fixture::Song minutes = Tune("two-minutes.wav", "Two minutes", "Long", "Streamer");
  minutes.seconds = 120;
  std::string error;
  ASSERT_TRUE(fixture::MakeSongs(music, {minutes, Tune("song.mp3", "Song", "Short", "Streamer")}, &error)) << error;
  // Only root may read the long song: the web user's ffmpeg gets it as a
  // pipe on its stdin, not by reopening it.
  ASSERT_EQ(chmod((music + "/two-minutes.wav").c_str(), 0600), 0);
  ASSERT_EQ(instance.Admin({"folder", "add", music}).status, 0);
  ASSERT_EQ(instance.Admin({"index"}).status, 0);
  CgiRequest request;
  request.program = harness::InstallGatewayCopy(instance, true, "stream.cgi");
  request.session = instance.AddUser("alice");
  request.run_as = "nobody";
  harness::CommandResult ids = harness::Run({"/usr/bin/sqlite3", instance.Path("data/cantora.db"),
                                             "SELECT id FROM song ORDER BY path"});
  std::istringstream lines(ids.out);
  std::string mp3_id, wav_id;
  lines >> mp3_id >> wav_id;
  request.query = "id=" + mp3_id;
  CgiResult r = harness::RunCgi(instance, request);
  EXPECT_TRUE(r.body == ReadBytes(music + "/song.mp3")) << r.out.substr(0, 200);
  EXPECT_TRUE(r.log.empty());

  request.query = "id=" + wav_id + "&format=mp3";
  pid_t ffmpeg;
  harness::LiveCgi cgi = StartTranscode(instance, request, "audio/mpeg", &ffmpeg);
  ASSERT_GT(ffmpeg, 0);
  const std::string nobody = std::to_string(getpwnam("nobody")->pw_uid);
  std::string status = ReadBytes("/proc/" + std::to_string(ffmpeg) + "/status");
  EXPECT_NE(status.find("\nUid:\t" + nobody + "\t" + nobody + "\t" + nobody + "\t" + nobody + "\n"),
            std::string::npos) << status;
  EXPECT_EQ(harness::FinishCgi(&cgi, 3000), 0);
  EXPECT_TRUE(EndsWithin(ffmpeg, 1000));
  // And whole, the stream decodes; read as a pipe it still seeks (by
  // decoding up to the offset).
  CgiResult whole = harness::RunCgi(instance, request);
  AudioFile out(whole.body);
  ExpectDuration(DecodedSeconds(out.path()), 120.0);
  request.query += "&offset=100";
  AudioFile end(harness::RunCgi(instance, request).body);
  ExpectDuration(DecodedSeconds(end.path()), 20.0);
}

}  // namespace
