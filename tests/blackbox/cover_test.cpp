// get_cover, get_cover_for_folder and get_cover_for_album through
// enumerate.cgi: the streamed image bytes, decoded here, their headers, the
// bare 500 answer, and the files a hostile request must never reach.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <pwd.h>
#include <sys/time.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/lib/image/image.h"
#include "tests/support/blackbox.h"
#include "tests/support/library_instance.h"

namespace {

using namespace blackbox;

const char kServerError[] = "Status: 500 Internal Server Error\r\n\r\n";

// A picture of w x h pixels, filled with a colour that varies across it.
image::Pixels Picture(int w, int h, bool transparent = false) {
  image::Pixels p;
  p.width = w;
  p.height = h;
  p.channels = transparent ? 4 : 3;
  p.data.resize(static_cast<size_t>(w) * h * p.channels);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      uint8_t* px = &p.data[(static_cast<size_t>(y) * w + x) * p.channels];
      px[0] = static_cast<uint8_t>(x * 255 / w);
      px[1] = static_cast<uint8_t>(y * 255 / h);
      px[2] = 128;
      if (transparent) px[3] = x < w / 2 ? 0 : 255;
    }
  return p;
}

std::string Jpeg(int w, int h) {
  std::string out, error;
  if (!image::EncodeJpeg(Picture(w, h), 90, &out, &error)) throw std::runtime_error(error);
  return out;
}

std::string Webp(int w, int h, bool transparent = false) {
  std::string out, error;
  if (!image::EncodeWebp(Picture(w, h, transparent), 90, &out, &error))
    throw std::runtime_error(error);
  return out;
}

std::string Png(int w, int h, bool transparent = false) {
  std::string out, error;
  if (!image::EncodePng(Picture(w, h, transparent), &out, &error)) throw std::runtime_error(error);
  return out;
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

struct Size {
  int w = 0, h = 0;
  bool operator==(const Size& o) const { return w == o.w && h == o.h; }
};

std::ostream& operator<<(std::ostream& os, const Size& s) { return os << s.w << "x" << s.h; }

// The size of an image answer's body, decoded; 0x0 when it does not decode.
Size SizeOf(const std::string& body) {
  image::Pixels p;
  Size source;
  std::string error;
  if (!image::DecodeScaled(body, 0, &p, &source.w, &source.h, &error)) return {};
  return source;
}

// The picture embedded in each kind of file is as wide as its number here,
// so that the answer tells which picture was sent.
const std::map<std::string, int> kEmbedded = {
    {"mp3", 101}, {"flac", 102}, {"ogg", 103}, {"opus", 104}, {"m4a", 105},
    {"wma", 106}, {"wv", 107},   {"wav", 108}, {"aiff", 109}};

std::vector<fixture::Song> Songs() {
  std::vector<fixture::Song> songs;
  for (const auto& kind : kEmbedded) {
    fixture::Song s = Tune("embedded/" + kind.first + "/song." + kind.first, kind.first,
                           "Embedded " + kind.first, "Pictures", "Art");
    s.front_picture = Jpeg(kind.second, 40);
    // A back cover first, then the front one (MP4 marks no kinds: one picture).
    s.covers = kind.first == "m4a" ? 1 : 2;
    s.front_last = true;
    songs.push_back(s);
  }
  for (const char* folder : {"names/a", "names/b", "names/c", "names/d", "names/e", "names/none",
                             "big", "webp",
                             "wide", "small", "truncated", "garbage", "evil", "evil2"})
    songs.push_back(Tune(std::string(folder) + "/song.mp3", folder, folder, "Folders", "Art"));
  // Albums: ranked by covercount, the first existing song is used.
  fixture::Song gone = Tune("gone1/a.mp3", "a", "Gone", "Ranker", "Art");
  gone.covers = 1;
  gone.front_picture = Jpeg(111, 11);
  songs.push_back(gone);
  songs.push_back(Tune("gone2/b.mp3", "b", "Gone", "Ranker", "Art"));
  songs.push_back(Tune("shared1/a.mp3", "a", "Shared Name", "Artist A", "Genre 1"));
  songs.push_back(Tune("shared2/b.mp3", "b", "Shared Name", "Artist B", "Genre 2"));
  songs.push_back(Tune("untagged/x.mp3", "", "", "", ""));
  songs.push_back(Tune("root.mp3", "root", "Root Album", "Rooted", "Art"));
  // Embedded pictures that do not decode: the folder's cover stands in, if any.
  for (const char* folder : {"broken-embedded/alone", "broken-embedded/helped"}) {
    fixture::Song s = Tune(std::string(folder) + "/song.mp3", folder, folder, "Broken", "Art");
    s.covers = 1;
    std::string whole = Jpeg(300, 300);
    s.front_picture = whole.substr(0, whole.size() / 2);
    songs.push_back(s);
  }
  return songs;
}

class CoverTest : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary(Songs());
    const std::string m = instance_->music();
    for (const auto& kind : kEmbedded) WriteBytes(m + "/embedded/" + kind.first + "/cover.jpg", Jpeg(70, 70));
    WriteBytes(m + "/names/a/Folder.PNG", Png(31, 10));
    WriteBytes(m + "/names/b/cover.webp", Webp(32, 10));
    WriteBytes(m + "/names/b/album.jpg", Jpeg(33, 10));
    WriteBytes(m + "/names/c/FRONT.jpeg", Jpeg(34, 10));
    WriteBytes(m + "/names/c/cover.png", Png(35, 10));
    WriteBytes(m + "/names/d/albumart.jpg", Jpeg(36, 10));
    WriteBytes(m + "/names/d/random.jpg", Jpeg(37, 10));
    WriteBytes(m + "/names/e/Cover.WEBP", Png(38, 10));
    WriteBytes(m + "/webp/folder.webp", Webp(1000, 800, true));
    WriteBytes(m + "/big/cover.jpg", Jpeg(3000, 3000));
    WriteBytes(m + "/wide/cover.png", Png(1200, 300, true));
    WriteBytes(m + "/small/cover.jpg", Jpeg(50, 40));
    std::string whole = Jpeg(400, 400);
    WriteBytes(m + "/truncated/cover.jpg", whole.substr(0, whole.size() / 2));
    WriteBytes(m + "/garbage/cover.jpg", std::string(5000, 'x'));
    WriteBytes(m + "/gone2/cover.jpg", Jpeg(222, 22));
    WriteBytes(m + "/shared1/cover.jpg", Jpeg(301, 30));
    WriteBytes(m + "/shared2/cover.jpg", Jpeg(302, 30));
    WriteBytes(m + "/untagged/cover.jpg", Jpeg(303, 30));
    WriteBytes(m + "/Cover.Jpeg", Jpeg(304, 30));
    WriteBytes(m + "/broken-embedded/helped/folder.jpg", Jpeg(305, 30));
    // A private picture outside every library, and links to it and to /etc.
    mkdir(instance_->Path("private").c_str(), 0700);
    WriteBytes(instance_->Path("private/secret.jpg"), Jpeg(444, 44));
    symlink(instance_->Path("private/secret.jpg").c_str(), (m + "/evil/cover.jpg").c_str());
    symlink("/etc/passwd", (m + "/evil2/cover.jpg").c_str());
    symlink("/etc", (m + "/etclink").c_str());
    // Bob's personal library, with a song, an embedded picture and a folder cover.
    instance_->AddUser("bob", true);
    fixture::Song mine = Tune("mine/song.mp3", "Mine", "Bob's", "Bob", "Private");
    mine.covers = 1;
    mine.front_picture = Jpeg(555, 55);
    instance_->AddSongs({mine}, instance_->PersonalFolder("bob"));
    WriteBytes(instance_->PersonalFolder("bob") + "/mine/cover.jpg", Jpeg(556, 55));
    instance_->Index();
    // The files of the first-ranked song of "Gone" vanish after indexing.
    unlink((m + "/gone1/a.mp3").c_str());
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  static CgiResult Cover(const std::string& query, const std::string& session = *session_) {
    return harness::Enumerate(*instance_, session, query);
  }
  static CgiResult CoverOfPath(const std::string& path) {
    return Cover("action=get_cover&path=" + Encode(path));
  }
  // get_cover of a song below the library, with extra CGI variables.
  static CgiRequest CoverRequest(const std::string& below,
                                 const std::map<std::string, std::string>& env) {
    CgiRequest request;
    request.session = *session_;
    request.query = "action=get_cover&path=" + Encode(Path(below));
    request.env = env;
    return request;
  }
  static std::string Path(const std::string& below) { return instance_->music() + "/" + below; }
  static std::string Sql(const std::string& sql) {
    std::string out = instance_->Sql(sql).out;
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
  }
  static std::string SongId(const std::string& path) {
    return Sql("SELECT id FROM song WHERE path = '" + path + "'");
  }
  static std::string FolderId(const std::string& path) {
    return Sql("SELECT id FROM folder WHERE path = '" + path + "'");
  }
  // A configuration file of this instance with extra lines.
  static std::string ConfigWith(const std::string& name, const std::string& lines) {
    std::string path = instance_->Path(name);
    WriteBytes(path, ReadBytes(instance_->config()) + lines);
    return path;
  }
};

// An image answer: the headers every cover carries, and the body's size.
void ExpectImage(const CgiResult& r, const char* type, Size size) {
  ASSERT_EQ(r.status, 0);
  ASSERT_NE(r.out.find("\r\n\r\n"), std::string::npos) << r.out.substr(0, 200);
  EXPECT_EQ(r.headers.at("Content-Type"), type);
  EXPECT_EQ(r.headers.at("Content-Length"), std::to_string(r.body.size()));
  EXPECT_EQ(r.headers.at("Cache-Control"), "private, max-age=86400");
  EXPECT_EQ(r.headers.count("ETag"), 1u);
  EXPECT_EQ(r.headers.count("Last-Modified"), 1u);
  EXPECT_EQ(SizeOf(r.body), size);
}

void ExpectServerError(const CgiResult& r) {
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kServerError);
}

TEST_F(CoverTest, EachKindOfEmbeddedPictureIsSentAsItsFrontCover) {
  for (const auto& kind : kEmbedded) {
    SCOPED_TRACE(kind.first);
    CgiResult r = CoverOfPath(Path("embedded/" + kind.first + "/song." + kind.first));
    ExpectImage(r, "image/jpeg", {kind.second, 40});
  }
}

TEST_F(CoverTest, EmbeddedPictureWinsOverTheFolderCover) {
  CgiResult r = Cover("action=get_cover&music_id=" + SongId(Path("embedded/mp3/song.mp3")));
  ExpectImage(r, "image/jpeg", {101, 40});
}

TEST_F(CoverTest, SongsSharingAPictureShareOneCacheFile) {
  // Every song carries the template as its back cover; the front covers
  // differ; the cache holds one file per distinct picture shown.
  // One per kind, "Gone", Bob's, and the two broken ones, which are alike.
  EXPECT_EQ(Sql("SELECT count(*) FROM song_cover"), std::to_string(kEmbedded.size() + 4));
  EXPECT_EQ(Sql("SELECT count(DISTINCT image) FROM song_cover"),
            std::to_string(kEmbedded.size() + 3));
  harness::CommandResult files = harness::Run(
      {"/usr/bin/find", instance_->Path("cache/covers/embedded"), "-type", "f"});
  EXPECT_EQ(std::count(files.out.begin(), files.out.end(), '\n'),
            static_cast<long>(kEmbedded.size() + 3));
}

TEST_F(CoverTest, FolderCoverNamesInOrderOfPreferenceAnyCapitals) {
  ExpectImage(CoverOfPath(Path("names/a/song.mp3")), "image/png", {31, 10});
  // A WebP is sent as JPEG (or PNG when transparent): clients read those.
  ExpectImage(CoverOfPath(Path("names/b/song.mp3")), "image/jpeg", {32, 10});
  ExpectImage(CoverOfPath(Path("names/c/song.mp3")), "image/png", {35, 10});  // cover before front
  ExpectImage(CoverOfPath(Path("names/d/song.mp3")), "image/jpeg", {36, 10});
  ExpectServerError(CoverOfPath(Path("names/none/song.mp3")));
}

TEST_F(CoverTest, LargeTransparentWebpBecomesPng) {
  ExpectImage(CoverOfPath(Path("webp/song.mp3")), "image/png", {600, 480});
}

TEST_F(CoverTest, ContentTypeComesFromTheBytesNotTheName) {
  // names/e holds a PNG named Cover.WEBP.
  CgiResult r = CoverOfPath(Path("names/e/song.mp3"));
  EXPECT_EQ(r.headers["Content-Type"], "image/png");
  EXPECT_EQ(r.body.compare(0, 4, "\x89PNG"), 0);
}

TEST_F(CoverTest, LargePhotoIsScaledToTheLongestSideOnceAndReused) {
  CgiResult first = CoverOfPath(Path("big/song.mp3"));
  ExpectImage(first, "image/jpeg", {600, 600});
  CgiResult again = CoverOfPath(Path("big/song.mp3"));
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(again.headers["ETag"], first.headers["ETag"]);
}

TEST_F(CoverTest, TransparentPictureStaysPngWithItsAlpha) {
  CgiResult r = CoverOfPath(Path("wide/song.mp3"));
  ExpectImage(r, "image/png", {600, 150});
  image::Pixels p;
  int w, h;
  std::string error;
  ASSERT_TRUE(image::DecodeScaled(r.body, 0, &p, &w, &h, &error)) << error;
  ASSERT_EQ(p.channels, 4);
  EXPECT_EQ(p.data[3], 0);                     // left half transparent
  EXPECT_EQ(p.data[(w - 1) * 4 + 3], 255);     // right half opaque
}

TEST_F(CoverTest, SmallPictureIsNeverEnlargedAndSentUnchanged) {
  CgiResult r = CoverOfPath(Path("small/song.mp3"));
  ExpectImage(r, "image/jpeg", {50, 40});
  EXPECT_EQ(r.body, ReadBytes(Path("small/cover.jpg")));
}

TEST_F(CoverTest, ConfiguredSizeIsTheLongestSide) {
  CgiResult r = harness::RunCgi(
      *instance_,
      CoverRequest("wide/song.mp3", {{"CANTORA_CONFIG", ConfigWith("small.conf", "cover_size = 200\n")}}));
  ExpectImage(r, "image/png", {200, 50});
}

TEST_F(CoverTest, ChangedSourceIsScaledAgain) {
  const std::string cover = Path("names/d/albumart.jpg");
  ExpectImage(CoverOfPath(Path("names/d/song.mp3")), "image/jpeg", {36, 10});
  WriteBytes(cover, Jpeg(900, 90));
  ExpectImage(CoverOfPath(Path("names/d/song.mp3")), "image/jpeg", {600, 60});
  WriteBytes(cover, Jpeg(36, 10));
  ExpectImage(CoverOfPath(Path("names/d/song.mp3")), "image/jpeg", {36, 10});
}

TEST_F(CoverTest, CorruptOrTruncatedImageIsAServerError) {
  ExpectServerError(CoverOfPath(Path("truncated/song.mp3")));
  ExpectServerError(CoverOfPath(Path("garbage/song.mp3")));
}

TEST_F(CoverTest, CorruptEmbeddedPictureGivesWayToTheFolderCover) {
  ExpectServerError(CoverOfPath(Path("broken-embedded/alone/song.mp3")));
  ExpectImage(CoverOfPath(Path("broken-embedded/helped/song.mp3")), "image/jpeg", {305, 30});
}

TEST_F(CoverTest, MatchingValidatorsAnswerNotModified) {
  CgiResult full = CoverOfPath(Path("small/song.mp3"));
  ASSERT_EQ(full.headers.count("ETag"), 1u);
  CgiRequest request = CoverRequest("small/song.mp3", {{"HTTP_IF_NONE_MATCH", full.headers["ETag"]}});
  CgiResult r = harness::RunCgi(*instance_, request);
  EXPECT_EQ(r.out.compare(0, 26, "Status: 304 Not Modified\r\n"), 0) << r.out;
  EXPECT_EQ(r.body, "");
  EXPECT_EQ(r.headers["ETag"], full.headers["ETag"]);

  request.env.clear();
  request.env["HTTP_IF_MODIFIED_SINCE"] = full.headers["Last-Modified"];
  r = harness::RunCgi(*instance_, request);
  EXPECT_EQ(r.out.compare(0, 26, "Status: 304 Not Modified\r\n"), 0) << r.out;
  EXPECT_EQ(r.body, "");

  // Another tag, or an older date, gets the file.
  request.env.clear();
  request.env["HTTP_IF_NONE_MATCH"] = "\"other\"";
  EXPECT_EQ(harness::RunCgi(*instance_, request).body, full.body);
  request.env.clear();
  request.env["HTTP_IF_MODIFIED_SINCE"] = "Thu, 01 Jan 1998 00:00:00 GMT";
  EXPECT_EQ(harness::RunCgi(*instance_, request).body, full.body);
}

TEST_F(CoverTest, XSendfileHandsTheCachedFileToTheServer) {
  CgiResult r = harness::RunCgi(
      *instance_,
      CoverRequest("big/song.mp3", {{"CANTORA_CONFIG", ConfigWith("sendfile.conf", "x_sendfile = 1\n")}}));
  ASSERT_EQ(r.headers.count("X-Sendfile"), 1u) << r.out;
  EXPECT_EQ(r.body, "");
  EXPECT_EQ(r.headers["Content-Type"], "image/jpeg");
  const std::string file = r.headers["X-Sendfile"];
  EXPECT_EQ(file.compare(0, instance_->Path("cache/covers/scaled/").size(),
                         instance_->Path("cache/covers/scaled/")),
            0)
      << file;
  EXPECT_EQ(SizeOf(ReadBytes(file)), (Size{600, 600}));
}

TEST_F(CoverTest, MissingMusicIdIsAnInvalidId) {
  CgiResult r = Cover("action=get_cover");
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate (1539) Invalid music id.")) << r.log.size();
}

TEST_F(CoverTest, PlaylistEntryIdIsAServerErrorWithoutALogLine) {
  CgiResult r = Cover("action=get_cover&music_id=PLSID_ZARNPLSSPTR_1");
  ExpectServerError(r);
  EXPECT_TRUE(r.log.empty());
}

TEST_F(CoverTest, UnknownMusicIdFailsOnTheMissingPath) {
  CgiResult r = Cover("action=get_cover&music_id=999999");
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate (1802) Bad parameters."));
}

TEST_F(CoverTest, FolderCoverByFolderId) {
  CgiResult r = Cover("action=get_cover_for_folder&folder=" + FolderId(Path("names/c")));
  ExpectImage(r, "image/png", {35, 10});
  // A folder's own cover, never an embedded picture of its songs.
  r = Cover("action=get_cover_for_folder&folder=" + FolderId(Path("embedded/mp3")));
  ExpectImage(r, "image/jpeg", {70, 70});
}

TEST_F(CoverTest, LibraryRootHasItsCoverToo) {
  ExpectImage(Cover("action=get_cover_for_album&album_name=" + Encode("Root Album")), "image/jpeg",
              {304, 30});
  ExpectImage(Cover("action=get_cover_for_folder&folder=" + FolderId(instance_->music())),
              "image/jpeg", {304, 30});
}

TEST_F(CoverTest, UnknownFolderIdIsLogged) {
  CgiResult r = Cover("action=get_cover_for_folder&folder=987654");
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate:1601 Get path by Id failed, Id: [987654]"));
  r = Cover("action=get_cover_for_folder&folder=personal_987654");
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate:1596 Get path by Id failed, Id: [987654]"));
}

TEST_F(CoverTest, AlbumCoverPrefersTheSongWithAPicture) {
  // "Gone": the song with the picture ranks first but its file is gone.
  CgiResult r = Cover("action=get_cover_for_album&album_name=Gone");
  ExpectImage(r, "image/jpeg", {222, 22});
  r = Cover("action=get_cover_for_album&album_name=" + Encode("Embedded flac"));
  ExpectImage(r, "image/jpeg", {102, 40});
}

// The songs of an album are tested as root: one replaced by a link out of
// the library is missing, whether its target exists or not.
TEST_F(CoverTest, AlbumCoverSongReplacedByALinkOutTellsNothing) {
  const std::string song = Path("gone1/a.mp3");
  for (const char* target : {"/etc/passwd", "/etc/passwd-nope"}) {
    SCOPED_TRACE(target);
    ASSERT_EQ(symlink(target, song.c_str()), 0);
    CgiResult r = Cover("action=get_cover_for_album&album_name=Gone");
    unlink(song.c_str());
    ExpectImage(r, "image/jpeg", {222, 22});
  }
}

TEST_F(CoverTest, AlbumCoverGenreOutranksArtist) {
  const std::string album = "action=get_cover_for_album&album_name=" + Encode("Shared Name");
  ExpectImage(Cover(album + "&artist_name=" + Encode("Artist B")), "image/jpeg", {302, 30});
  ExpectImage(Cover(album + "&artist_name=" + Encode("Artist A")), "image/jpeg", {301, 30});
  ExpectImage(Cover(album + "&artist_name=" + Encode("Artist A") + "&genre_name=" + Encode("Genre 2")),
              "image/jpeg", {302, 30});
  ExpectServerError(Cover(album + "&genre_name=" + Encode("No Such Genre")));
}

TEST_F(CoverTest, AlbumCoverOfTheEmptyAlbumName) {
  ExpectImage(Cover("action=get_cover_for_album&album_name="), "image/jpeg", {303, 30});
}

TEST_F(CoverTest, AlbumCoverWithoutAlbumNameIsLogged) {
  CgiResult r = Cover("action=get_cover_for_album&artist_name=x");
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, kErr,
                              "enumerate (1638) MusicGetCoverImageForAlbum parameters error."));
  ExpectServerError(Cover("action=get_cover_for_album&album_name=" + Encode("No Such Album")));
}

TEST_F(CoverTest, QuoteInAlbumNameIsEscaped) {
  ExpectServerError(Cover("action=get_cover_for_album&album_name=" + Encode("x' or '1'='1")));
}

// Whatever a hostile request names, the answer is the bare 500: not one
// byte of the file it aimed at.
TEST_F(CoverTest, PathsOutsideTheLibrariesAreRefused) {
  const std::string m = instance_->music();
  for (const std::string& path :
       {m + "/../private/secret.jpg", m + "/names/../../private/secret.jpg", std::string("/etc/passwd"),
        std::string("/etc"), instance_->Path("private/secret.jpg"), m + "/etclink/passwd",
        m + "/etclink", m + "/evil/cover.jpg", m + "/small/cover.jpg", std::string(""),
        std::string("relative/song.mp3"), instance_->Path("data/cantora.db")}) {
    SCOPED_TRACE(path);
    ExpectServerError(CoverOfPath(path));
  }
}

TEST_F(CoverTest, CoverLinkedOutOfTheLibraryIsNotFollowed) {
  ExpectServerError(CoverOfPath(Path("evil/song.mp3")));
  ExpectServerError(CoverOfPath(Path("evil2/song.mp3")));
  ExpectServerError(Cover("action=get_cover_for_folder&folder=" + FolderId(Path("evil"))));
}

TEST_F(CoverTest, HostileIdsAreRefused) {
  for (const std::string& id : {std::string("1) or (1=1"), std::string("1; DROP TABLE song"),
                                std::string("(SELECT 1)"), std::string("personal_x"),
                                std::string("../../etc/passwd")}) {
    SCOPED_TRACE(id);
    ExpectServerError(Cover("action=get_cover&music_id=" + Encode(id)));
    ExpectServerError(Cover("action=get_cover_for_folder&folder=" + Encode(id)));
  }
}

TEST_F(CoverTest, AnotherUsersPersonalSongsAndFoldersAreRefused) {
  const std::string song = instance_->PersonalFolder("bob") + "/mine/song.mp3";
  const std::string id = SongId(song);
  const std::string folder = FolderId(instance_->PersonalFolder("bob") + "/mine");
  ASSERT_FALSE(id.empty());
  ASSERT_FALSE(folder.empty());
  // Bob sees his own covers.
  std::string bob = instance_->NewSession("bob");
  ExpectImage(Cover("action=get_cover&music_id=personal_" + id, bob), "image/jpeg", {555, 55});
  ExpectImage(Cover("action=get_cover_for_folder&folder=personal_" + folder, bob), "image/jpeg",
              {556, 55});
  // Alice does not, whichever way she asks.
  ExpectServerError(CoverOfPath(song));
  ExpectServerError(CoverOfPath(instance_->PersonalFolder("bob") + "/mine/cover.jpg"));
  ExpectServerError(Cover("action=get_cover&music_id=personal_" + id));
  ExpectServerError(Cover("action=get_cover&music_id=" + id));
  ExpectServerError(Cover("action=get_cover_for_folder&folder=personal_" + folder));
  ExpectServerError(Cover("action=get_cover_for_folder&folder=" + folder));
  ExpectServerError(Cover("action=get_cover_for_album&library=all&album_name=" + Encode("Bob's")));
}

TEST_F(CoverTest, NotSignedInGetsNothing) {
  EXPECT_EQ(Cover("action=get_cover&path=" + Encode(Path("small/song.mp3")), "bad").out, "");
}

// Installed as on a box: setuid root, started as the web server's user.
// Only the streaming runs as root; the scaling helper runs as the web user
// and leaves its copies to it, and a music folder that user cannot read
// still has its embedded pictures, which the indexer took out as root.
class CoverAsWebUserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0u);
    const std::string open_music = instance.Path("music");
    const std::string closed_music = instance.Path("closed");
    ASSERT_EQ(mkdir(open_music.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(closed_music.c_str(), 0700), 0);
    std::string error;
    fixture::Song plain = Tune("album/song.mp3", "Plain", "Open", "Someone");
    fixture::Song pictured = Tune("album/song.mp3", "Pictured", "Closed", "Someone");
    pictured.covers = 1;
    pictured.front_picture = Jpeg(1000, 500);
    ASSERT_TRUE(fixture::MakeSong(open_music, plain, &error)) << error;
    ASSERT_TRUE(fixture::MakeSong(closed_music, pictured, &error)) << error;
    WriteBytes(open_music + "/album/cover.jpg", Jpeg(800, 800));
    ASSERT_EQ(instance.Admin({"folder", "add", open_music}).status, 0);
    ASSERT_EQ(instance.Admin({"folder", "add", closed_music}).status, 0);
    harness::CommandResult r = instance.Admin({"index"});
    ASSERT_EQ(r.status, 0) << r.err;
    session = instance.AddUser("alice");
  }

  CgiResult Get(const std::string& query, bool setuid = true) {
    return RunAsWebUser(instance, harness::InstallGatewayCopy(instance, setuid), session, query);
  }

  harness::Instance instance{"nobody"};
  std::string session;
};

TEST_F(CoverAsWebUserTest, ScaledCopyIsMadeAsTheWebUserAndStreamedAsRoot) {
  CgiResult r = Get("action=get_cover&path=" + Encode(instance.Path("music/album/song.mp3")));
  ExpectImage(r, "image/jpeg", {600, 600});
  EXPECT_TRUE(r.log.empty());
  const passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  harness::CommandResult found =
      harness::Run({"/usr/bin/find", instance.Path("cache/covers/scaled"), "-type", "f",
                    "-not", "-user", "nobody"});
  EXPECT_EQ(found.out, "");
  EXPECT_EQ(found.status, 0);
}

TEST_F(CoverAsWebUserTest, WithoutRootNothingIsSentAndTheGuardLinesAreLogged) {
  const std::string song = instance.Path("music/album/song.mp3");
  CgiResult r = Get("action=get_cover&path=" + Encode(song), false);
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, LOG_AUTH | LOG_ERR, "enumerate:1564 ERROR: IF_RUN_AS(0, 0)"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate:1567 Failed to run as root."));
  r = Get("action=get_cover_for_album&album_name=Open", false);
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, LOG_AUTH | LOG_ERR, "enumerate:1694 ERROR: IF_RUN_AS(0, 0)"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate:1699 Failed to run as root."));
  harness::CommandResult id =
      harness::Run({"/usr/bin/sqlite3", instance.Path("data/cantora.db"),
                    "SELECT id FROM folder WHERE path = '" + instance.Path("music/album") + "'"});
  r = Get("action=get_cover_for_folder&folder=" + id.out.substr(0, id.out.find('\n')), false);
  ExpectServerError(r);
  EXPECT_TRUE(harness::Logged(r.log, LOG_AUTH | LOG_ERR, "enumerate:1611 ERROR: IF_RUN_AS(0, 0)"));
  EXPECT_TRUE(harness::Logged(r.log, kErr, "enumerate:1614 Failed to run as root."));
}

TEST_F(CoverAsWebUserTest, EmbeddedPictureOfAFolderOnlyRootReads) {
  CgiResult r = Get("action=get_cover_for_album&album_name=Closed");
  ExpectImage(r, "image/jpeg", {600, 300});
}

// The cache keeps what is shown; cantora-admin covers prune takes the rest.
TEST(CoverCacheTest, PruneRemovesWhatNothingShowsAnyMore) {
  harness::LibraryInstance instance;
  fixture::Song song = Tune("a/song.mp3", "Song", "Album", "Artist");
  song.covers = 1;
  song.front_picture = Jpeg(120, 60);
  fixture::Song other = Tune("b/song.mp3", "Other", "Other", "Artist");
  other.covers = 1;
  other.front_picture = Jpeg(121, 60);
  instance.AddSongs({song, other});
  instance.Index();
  std::string session = instance.AddUser("alice");
  auto files = [&](const std::string& part) {
    harness::CommandResult r =
        harness::Run({"/usr/bin/find", instance.Path("cache/covers/" + part), "-type", "f"});
    std::vector<std::string> out;
    std::istringstream lines(r.out);
    for (std::string line; std::getline(lines, line);) out.push_back(line);
    return out;
  };
  ASSERT_EQ(files("embedded").size(), 2u);
  // A scaled copy for each song, one of them unused for 40 days.
  for (const char* path : {"a/song.mp3", "b/song.mp3"})
    ASSERT_EQ(harness::Enumerate(instance, session,
                                 "action=get_cover&path=" + Encode(instance.music() + "/" + path))
                  .headers.count("ETag"),
              1u);
  std::vector<std::string> scaled = files("scaled");
  ASSERT_EQ(scaled.size(), 2u);
  struct timeval old[2] = {{time(nullptr) - 40 * 86400, 0}, {time(nullptr) - 40 * 86400, 0}};
  ASSERT_EQ(utimes(scaled[0].c_str(), old), 0);
  // The first song loses its picture.
  song.covers = 0;
  instance.AddSongs({song});
  instance.Index();

  harness::CommandResult r = instance.Admin({"covers", "prune"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "1 embedded pictures and 1 scaled covers removed\n");
  EXPECT_EQ(files("embedded").size(), 1u);
  EXPECT_EQ(files("scaled"), std::vector<std::string>{scaled[1]});
  // What is left still serves.
  ExpectImage(harness::Enumerate(instance, session,
                                 "action=get_cover&path=" + Encode(instance.music() + "/b/song.mp3")),
              "image/jpeg", {121, 60});
  EXPECT_NE(instance.Admin({"covers", "prune", "--days", "x"}).status, 0);
}

}  // namespace
