// The libraries described in code: the demo and the synthetic benchmark one.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/fixture.h"

namespace fixture {
namespace {

uint64_t Mix(uint64_t x) {  // splitmix64
  x += 0x9e3779b97f4a7c15ULL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

// 400 made-up words of two syllables; none holds "love" or "quixotic".
std::string Word(uint64_t k) {
  static const char* const kSyllables[] = {"ka", "re", "mo",  "ti",  "san", "bel", "dor",
                                           "fi", "gu", "hal", "jen", "ko",  "lu",  "mar",
                                           "ni", "po", "ra",  "su",  "ta",  "vi"};
  std::string w = std::string(kSyllables[k % 20]) + kSyllables[(k / 20) % 20];
  w[0] = static_cast<char>(w[0] - 'a' + 'A');
  return w;
}

const char* const kCommonWords[] = {"Night",  "Heart", "Dance", "Blue", "Fire",  "Rain",
                                    "Summer", "Dream", "Road",  "Home", "Light", "River"};

std::string Title(uint64_t h, size_t i, size_t total) {
  std::string title;
  int words = 2 + static_cast<int>(h % 3);
  for (int w = 0; w < words; ++w) {
    uint64_t r = Mix(h + static_cast<uint64_t>(w) * 7919);
    if (!title.empty()) title += ' ';
    if (r % 60 == 0)
      title += kSyntheticCommonWord;
    else if (r % 10 < 3)
      title += kCommonWords[(r >> 8) % 12];
    else
      title += Word(r >> 16);
  }
  if (i == total / 2) title = std::string(kSyntheticRareWord) + " " + title;
  return title;
}

const char* GenreOf(uint64_t h, std::string* scratch) {
  static const struct {
    int upto;
    const char* name;
  } kGenres[] = {{22, "Rock"},      {40, "Pop"},     {50, "Jazz"},  {58, "Electronic"},
                 {65, "Classical"}, {71, "Hip-Hop"}, {76, "Metal"}, {80, "Folk"},
                 {84, "Blues"},     {87, "Country"}};
  int p = static_cast<int>(h % 100);
  for (const auto& g : kGenres)
    if (p < g.upto) return g.name;
  *scratch = "Genre " + std::to_string((h >> 8) % 40);
  return scratch->c_str();
}

const char* FormatOf(uint64_t h) {
  int p = static_cast<int>(h % 100);
  return p < 85 ? "mp3" : p < 95 ? "flac" : p < 98 ? "ogg" : "m4a";
}

constexpr size_t kBigArtistSongs = 5000;
constexpr size_t kBigAlbumSongs = 20;
constexpr size_t kAlbumSongs = 10;
constexpr size_t kAlbumsPerArtist = 4;

// Albums are numbered across the library: the big artist's first.
size_t AlbumIndex(size_t i) {
  if (i < kBigArtistSongs) return i / kBigAlbumSongs;
  return kBigArtistSongs / kBigAlbumSongs + (i - kBigArtistSongs) / kAlbumSongs;
}

std::string AlbumName(size_t album) {
  if (album < kBigArtistSongs / kBigAlbumSongs)
    return "Prolific Sessions Vol. " + std::to_string(album + 1);
  // Two words chosen one-to-one for the first 160,000 albums.
  return Word(album % 400) + " " + Word((album / 400 + album) % 400);
}

}  // namespace

const char* const kSyntheticBigArtist = "The Prolific Ensemble";
const char* const kSyntheticBigGenre = "Rock";
const char* const kSyntheticCommonWord = "love";
const char* const kSyntheticRareWord = "Quixotic";

std::string SyntheticAlbum(size_t i, size_t total) { return AlbumName(AlbumIndex(i)); }

namespace {

// The cover of an album: the template picture with the album's number after
// its end, so that every album has a picture of its own, shared by its songs.
std::string AlbumPicture(size_t album) {
  static const std::string kTemplate = [] {
    std::ifstream in(TemplateDir() + "/cover.jpg", std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
  }();
  return kTemplate + "album " + std::to_string(album);
}

}  // namespace

Song SyntheticSong(size_t i, size_t total) {
  const size_t album = AlbumIndex(i);
  const uint64_t ha = Mix(album * 2654435761ULL + 17);
  const uint64_t hs = Mix(i * 40503ULL + 3);
  Song s;
  if (i < kBigArtistSongs) {
    s.artist = kSyntheticBigArtist;
    s.track = static_cast<int>(i % kBigAlbumSongs) + 1;
  } else {
    size_t artist = (album - kBigArtistSongs / kBigAlbumSongs) / kAlbumsPerArtist;
    s.artist = Word(artist % 400) + " " + Word(artist / 400 + 7);
    s.track = static_cast<int>((i - kBigArtistSongs) % kAlbumSongs) + 1;
  }
  s.album = AlbumName(album);
  s.album_artist = s.artist;
  std::string scratch;
  s.genre = GenreOf(ha, &scratch);
  if (ha % 3 == 0) s.composer = Word(ha >> 20) + " " + Word(ha >> 30);
  s.title = Title(hs, i, total);
  s.disc = 1;
  s.year = 1960 + static_cast<int>((ha >> 12) % 64);
  char number[16];
  std::snprintf(number, sizeof number, "%02d ", s.track);
  s.file = s.artist + "/" + s.album + "/" + number + s.title + "." + FormatOf(ha >> 40);
  s.covers = 1;
  s.front_picture = AlbumPicture(album);
  return s;
}

std::vector<Song> DemoLibrary() {
  static const char* const kArtists[] = {
      "Ærøskøbing Brass", "Ωμέγα Trio",          "Les Éclairs",   "Straße Nord",
      "Мария Ветрова",    "東京 Lights",         "O'Neil & Sons", "The Quiet Hours",
      "Señor Kaktus",     "Ｆｕｌｌ Ｗｉｄｔｈ", "Motörway",      "Ingrid Ångström"};
  static const char* const kAlbumWords[] = {"Morgenrot", "Canción",    "Nuit Blanche", "Zeitgeist",
                                            "Mañana",    "Glasshouse", "Ébauche",      "Tides"};
  static const char* const kTitleWords[] = {"Süße", "Nacht", "Love", "Corazón", "Été",    "Ветер",
                                            "Rain", "Fjord", "Ωδή",  "Blue",    "Kaffee", "Road"};
  static const char* const kGenres[] = {"Rock", "Jazz", "Électronique", "Pop", "Klassik", "Folk"};
  static const char* const kFormats[] = {"mp3",      "flac", "ogg", "opus", "m4a",
                                         "alac.m4a", "wma",  "wav", "aiff", "wv"};
  std::vector<Song> songs;
  size_t n = 0;
  for (size_t a = 0; a < 12; ++a) {
    for (size_t b = 0; b < 3; ++b) {
      std::string album = std::string(kAlbumWords[(a + b * 5) % 8]) + " " + std::to_string(b + 1);
      for (int t = 1; t <= 8; ++t, ++n) {
        Song s;
        s.artist = kArtists[a];
        s.album_artist = kArtists[a];
        s.album = album;
        s.genre = kGenres[(a + b) % 6];
        s.title = std::string(kTitleWords[(n * 7) % 12]) + " " + kTitleWords[(n * 5 + 3) % 12];
        s.track = t;
        s.disc = 1;
        s.year = 1975 + static_cast<int>(a * 3 + b);
        s.covers = t == 1 ? 1 : 0;
        if (t == 4) s.composer = "Ödön Kálmán";
        char number[16];
        std::snprintf(number, sizeof number, "%02d ", t);
        s.file = s.artist + "/" + album + "/" + number + s.title + "." + kFormats[n % 10];
        songs.push_back(std::move(s));
      }
    }
  }
  return songs;
}

}  // namespace fixture
