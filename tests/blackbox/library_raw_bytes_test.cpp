// Songs whose FLAC, Ogg Vorbis and ID3v2.4 (UTF-8 frames) tags hold bytes
// that are not UTF-8, indexed and browsed through enumerate.cgi: a song whose
// title, album, artist or genre is such text is left out with its log line;
// one whose comment, composer or album artist is, is listed with those bytes.
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/blackbox.h"
#include "tests/support/fixture_bytes.h"
#include "tests/support/library_instance.h"
#include "tests/unit/json_reference.h"

namespace {

using namespace blackbox;

const char* const kFormats[] = {"flac", "ogg", "mp3"};

// The texts of one format's songs; E is the format's extension.
struct Texts {
  std::string ext;
  std::string Album() const { return "Album " + ext; }
  std::string Artist() const { return "Artist " + ext; }
  std::string Genre() const { return "Genre " + ext; }
  std::string BadTitle() const { return "Title \xff " + ext; }
  std::string BadAlbum() const { return "Album \xc3\x28 " + ext; }
  std::string BadArtist() const { return "Artist \xed\xa0\x80 " + ext; }
  std::string BadGenre() const { return "Genre \x80 " + ext; }
  std::string BadComment() const { return "Note \xff\xfe\" " + ext; }
  std::string BadComposer() const { return "Comp\xe9siteur " + ext; }
  std::string BadAlbumArtist() const { return "Band \xc0\xaf " + ext; }
  // The valid title of the song whose `what` is broken.
  std::string Title(const std::string& what) const { return "Lumen " + what + " " + ext; }
};

// One song per broken field, and one with none ("fine"); each song's valid
// title names its broken field.
std::vector<fixture::Song> SongsOf(const Texts& t) {
  struct Broken {
    const char* what;
    std::string fixture::Song::*field;
    std::string (Texts::*text)() const;
  };
  const Broken kBroken[] = {
      {"fine", nullptr, nullptr},
      {"title", &fixture::Song::title, &Texts::BadTitle},
      {"album", &fixture::Song::album, &Texts::BadAlbum},
      {"artist", &fixture::Song::artist, &Texts::BadArtist},
      {"genre", &fixture::Song::genre, &Texts::BadGenre},
      {"comment", &fixture::Song::comment, &Texts::BadComment},
      {"composer", &fixture::Song::composer, &Texts::BadComposer},
      {"albumartist", &fixture::Song::album_artist, &Texts::BadAlbumArtist},
  };
  std::vector<fixture::Song> songs;
  for (const Broken& b : kBroken) {
    fixture::Song s = Tune(t.ext + "/" + b.what + "." + t.ext, t.Title(b.what), t.Album(),
                           t.Artist(), t.Genre());
    if (b.field != nullptr) s.*b.field = (t.*b.text)();
    s.track = static_cast<int>(songs.size() + 1);
    songs.push_back(s);
  }
  return songs;
}

size_t CountLogged(const std::vector<harness::LogLine>& lines, const std::string& text) {
  return std::count_if(lines.begin(), lines.end(), [&](const harness::LogLine& l) {
    return l.priority == kErr && l.text == text;
  });
}

// The JSON text of a member as JsonCpp writes it.
std::string Member(const char* key, const std::string& value) {
  return JsonCppText(Json::Value(key)) + ":" + JsonCppText(Json::Value(value));
}

class RawTagBytes : public LibrarySuite {
 protected:
  static void SetUpTestSuite() {
    OpenLibrary({Tune("plain/1.mp3", "Plain", "Plain Album", "Plain Artist", "Plain")});
    std::string error;
    for (const char* ext : kFormats)
      for (const fixture::Song& s : SongsOf(Texts{ext}))
        ASSERT_TRUE(fixture::MakeSongWithRawBytes(instance_->music(), s, &error)) << error;
    instance_->Index();
  }
  static void TearDownTestSuite() { CloseLibrary(); }

  static CgiResult Get(const std::string& query) {
    CgiResult r = harness::Enumerate(*instance_, *session_, query);
    EXPECT_TRUE(r.has_json) << query << ": " << r.out;
    EXPECT_EQ(0, r.status);
    EXPECT_TRUE(r.json["success"].asBool()) << query << ": " << r.body;
    EXPECT_EQ(r.json["items"].size(), r.json["total"].asUInt()) << query;
    return r;
  }
};

class RawTagBytesByFormat : public RawTagBytes,
                            public ::testing::WithParamInterface<const char*> {
 protected:
  Texts t{GetParam()};
};

TEST_P(RawTagBytesByFormat, SongsWithBrokenTitleArtistOrGenreAreLeftOutAndLogged) {
  CgiResult r = Get("action=song_enum&album_name=" + Encode(t.Album()));
  EXPECT_EQ((Names{t.Title("fine"), t.Title("comment"), t.Title("composer"),
                   t.Title("albumartist")}),
            Column(r.json, "title"));
  // The title, artist and genre songs.
  EXPECT_EQ(3u, CountLogged(r.log, "MediaInfo contains invalid utf8"));
}

TEST_P(RawTagBytesByFormat, ASongWithABrokenAlbumIsLeftOutOfItsArtist) {
  CgiResult r = Get("action=song_enum&genre_name=" + Encode(t.Genre()));
  Names titles = Column(r.json, "title");
  EXPECT_EQ(titles.end(), std::find(titles.begin(), titles.end(), t.Title("album")));
  EXPECT_EQ(4u, titles.size());
  // The title, album and artist songs.
  EXPECT_EQ(3u, CountLogged(r.log, "MediaInfo contains invalid utf8"));
}

TEST_P(RawTagBytesByFormat, BrokenTextIsMatchedAsTheFileHoldsIt) {
  // The song is found by its exact bytes, and then left out.
  CgiResult r = Get("action=song_enum&genre_name=" + Encode(t.BadGenre()));
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_EQ(1u, CountLogged(r.log, "MediaInfo contains invalid utf8"));
  // Upper-casing leaves the broken bytes as they are on both sides.
  r = Get("action=album_enum&artist_name=" + Encode(t.BadArtist()));
  EXPECT_EQ((Names{t.Album()}), Column(r.json, "name"));
  r = Get("action=album_enum&genre_name=" + Encode(t.BadGenre()));
  EXPECT_EQ((Names{t.Album()}), Column(r.json, "name"));
}

TEST_P(RawTagBytesByFormat, CommentComposerAndAlbumArtistBytesAreAnsweredAsJsonCppWritesThem) {
  CgiResult r = Get("action=song_enum&artist_name=" + Encode(t.Artist()));
  Names titles = Column(r.json, "title");
  EXPECT_NE(titles.end(), std::find(titles.begin(), titles.end(), t.Title("comment")));
  EXPECT_NE(r.body.find(Member("comment", t.BadComment())), std::string::npos);
  EXPECT_NE(r.body.find(Member("composer", t.BadComposer())), std::string::npos);
  EXPECT_NE(r.body.find(Member("albumartist", t.BadAlbumArtist())), std::string::npos);
  for (const Json::Value& item : r.json["items"]) {
    if (item["title"].asString() == t.Title("comment")) {
      EXPECT_EQ(t.BadComment(), item["comment"].asString());
      EXPECT_EQ(t.Album(), item["album"].asString());
      EXPECT_EQ(t.Genre(), item["genre"].asString());
    }
    if (item["title"].asString() == t.Title("composer"))
      EXPECT_EQ(t.BadComposer(), item["composer"].asString());
  }
}

TEST_P(RawTagBytesByFormat, SearchForAWordOfTheValidTitle) {
  CgiResult r = Get("action=search&search_key=" + Encode("lumen ALBUM " + t.ext));
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_EQ(1u, CountLogged(r.log, "MediaInfo contains invalid utf8"));
  for (const char* what : {"artist", "genre"}) {
    r = Get("action=search&search_key=" + Encode(t.Title(what)));
    EXPECT_EQ(0u, r.json["total"].asUInt()) << what;
    EXPECT_EQ(1u, CountLogged(r.log, "MediaInfo contains invalid utf8")) << what;
  }
  for (const char* what : {"comment", "composer", "albumartist"}) {
    r = Get("action=search&search_key=" + Encode(t.Title(what)));
    EXPECT_EQ((Names{t.Title(what)}), Column(r.json, "title")) << what;
    EXPECT_EQ(0u, CountLogged(r.log, "MediaInfo contains invalid utf8")) << what;
  }
  // A key holding the broken bytes finds the song they came from.
  r = Get("action=search&search_key=" + Encode("\xff " + t.ext) + "&category=title");
  EXPECT_EQ(0u, r.json["total"].asUInt());
  EXPECT_EQ(1u, CountLogged(r.log, "MediaInfo contains invalid utf8"));
}

INSTANTIATE_TEST_SUITE_P(Formats, RawTagBytesByFormat, ::testing::ValuesIn(kFormats));

// A list action answers the valid names in order and logs each broken one
// ("<kind> <bytes> is not valid utf8").
void ExpectBrokenNamesDropped(const CgiResult& r, const Names& valid, const char* kind,
                              std::string (Texts::*broken)() const) {
  EXPECT_EQ(valid, Column(r.json, "name"));
  for (const char* ext : kFormats) {
    const std::string line = std::string(kind) + " " + (Texts{ext}.*broken)() + " is not valid utf8";
    EXPECT_EQ(1u, CountLogged(r.log, line)) << ext;
  }
}

TEST_F(RawTagBytes, ArtistListDropsBrokenNamesOneByOne) {
  ExpectBrokenNamesDropped(Get("action=artist_enum"),
                           {"Artist flac", "Artist mp3", "Artist ogg", "Plain Artist"}, "artist",
                           &Texts::BadArtist);
}

TEST_F(RawTagBytes, AlbumListDropsBrokenNamesOneByOne) {
  ExpectBrokenNamesDropped(Get("action=album_enum"),
                           {"Album flac", "Album mp3", "Album ogg", "Plain Album"}, "album",
                           &Texts::BadAlbum);
  CgiResult r = Get("action=album_enum&artist_name=" + Encode("artist OGG"));
  EXPECT_EQ((Names{"Album ogg"}), Column(r.json, "name"));
  EXPECT_EQ(1u, CountLogged(r.log, "album " + Texts{"ogg"}.BadAlbum() + " is not valid utf8"));
}

TEST_F(RawTagBytes, GenreListDropsBrokenNamesOneByOne) {
  ExpectBrokenNamesDropped(Get("action=genre_enum"),
                           {"Genre flac", "Genre mp3", "Genre ogg", "Plain"}, "genre",
                           &Texts::BadGenre);
}

}  // namespace
