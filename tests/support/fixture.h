// Audio libraries made for tests, the demo and the benchmark: small real
// audio files (copies of the templates in tests/data/templates) whose tags
// are written with TagLib, as a tagger would write them.
//
// Text is written as Unicode (UTF-8 frames in ID3v2.4, Vorbis comments, ...).
// A text field that is not valid UTF-8 can only go into an mp3: it is written
// byte for byte into a Latin-1 ID3v2 frame, which is how such bytes reach
// real collections.
#ifndef CANTORA_TESTS_SUPPORT_FIXTURE_H
#define CANTORA_TESTS_SUPPORT_FIXTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fixture {

struct Song {
  // Path below the library folder; its extension picks the template (mp3,
  // flac, ogg, opus, m4a, wma, wav, aiff, wv; "alac.m4a" at the end of the
  // name picks the Apple Lossless one).
  std::string file;
  std::string title, album, artist, album_artist, genre, composer, comment, artist_sort;
  int track = 0, disc = 0, year = 0;
  int covers = 0;           // embedded pictures
  // The front cover's bytes (empty: the template's cover.jpg, which the
  // back covers always carry), and whether it comes last instead of first.
  std::string front_picture;
  bool front_last = false;
  bool id3v1_only = false;  // mp3: an ID3v1 tag and nothing else
  bool corrupt = false;     // garbage bytes under the audio name
  double seconds = 0;       // wav: silence of exactly this length instead of the template
  int64_t sparse_size = 0;  // grow the file to this size with a hole at the end
};

// A song with the given tags (track 1 unless set later).
Song Tune(const std::string& file, const std::string& title, const std::string& album,
          const std::string& artist, const std::string& genre = "");

// tests/data/templates of the source tree.
std::string TemplateDir();

// Writes root/song.file (making folders). False with *error.
bool MakeSong(const std::string& root, const Song& song, std::string* error);
// Writes every song; stops at the first failure.
bool MakeSongs(const std::string& root, const std::vector<Song>& songs, std::string* error);

// A library of a few hundred songs in every template format, with covers and
// non-ASCII names, for trying the gateway by hand.
std::vector<Song> DemoLibrary();

// Song i of a synthetic library of `total` songs with the shape of a large
// real one: songs 0..4999 are one artist's ("The Prolific Ensemble", albums
// of 20), the others albums of 10 songs, 4 albums per artist; a few large
// genres and a long tail; about one title in twenty holds "love"; song
// total/2 alone holds "Quixotic". Mostly mp3, some flac, ogg and m4a. Every
// song embeds its album's picture (one distinct picture per album).
// Deterministic, and cheap to call from several threads.
Song SyntheticSong(size_t i, size_t total);

// The names used by SyntheticSong, for the benchmark's queries.
extern const char* const kSyntheticBigArtist;
extern const char* const kSyntheticBigGenre;
extern const char* const kSyntheticCommonWord;
extern const char* const kSyntheticRareWord;
// The album of song i (the first album of the library for i = 0).
std::string SyntheticAlbum(size_t i, size_t total);

}  // namespace fixture

#endif
