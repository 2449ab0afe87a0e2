// cantora-fixture: makes audio libraries for trying the system by hand.
//
//   cantora-fixture demo DIR         a few hundred songs, several formats, covers
//   cantora-fixture synthetic DIR N  the benchmark's library of N songs
//   cantora-fixture song DIR FILE TITLE ALBUM ARTIST [--lyrics KIND TEXT]
//                                    one song, with lyrics in its tags
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/lib/image/image.h"
#include "tests/support/fixture.h"
#include "tests/support/fixture_lyrics.h"

namespace {

constexpr const char* kUsage =
    "usage: cantora-fixture demo DIR\n"
    "       cantora-fixture synthetic DIR N\n"
    "       cantora-fixture song DIR FILE TITLE ALBUM ARTIST [--lyrics KIND TEXT]\n"
    "\n"
    "demo: a few hundred songs of every template format, with embedded covers,\n"
    "folder images (folder.png, cover.jpg, one 3000x3000) and non-ASCII names. synthetic: N\n"
    "songs shaped like a large collection (one 5,000-song artist, large genres,\n"
    "common title words).\n"
    "song: one song DIR/FILE; KIND is uslt, sylt, vorbis, unsynced, mp4, ape or asf.\n";

int Fail(const std::string& message) {
  std::fprintf(stderr, "cantora-fixture: %s\n", message.c_str());
  return 1;
}

// A colourful w x h photo, as a JPEG file at path.
bool WritePhoto(const std::string& path, int w, int h, unsigned seed, std::string* error) {
  image::Pixels p;
  p.width = w;
  p.height = h;
  p.data.resize(static_cast<size_t>(w) * h * 3);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      uint8_t* px = &p.data[(static_cast<size_t>(y) * w + x) * 3];
      px[0] = static_cast<uint8_t>(x * 255 / w + seed * 40);
      px[1] = static_cast<uint8_t>(y * 255 / h + seed * 70);
      px[2] = static_cast<uint8_t>(((x / 40 + y / 40) % 2) * 120 + seed * 20);
    }
  std::string jpeg;
  if (!image::EncodeJpeg(p, 88, &jpeg, error)) return false;
  FILE* f = std::fopen(path.c_str(), "wb");
  bool ok = f != nullptr && std::fwrite(jpeg.data(), 1, jpeg.size(), f) == jpeg.size();
  ok = f != nullptr && std::fclose(f) == 0 && ok;
  if (!ok) *error = "cannot write " + path;
  return ok;
}

int Demo(const std::string& dir) {
  std::string error;
  auto songs = fixture::DemoLibrary();
  if (!fixture::MakeSongs(dir, songs, &error)) return Fail(error);
  // Every other album also gets a folder image.
  size_t album = 0;
  std::string last;
  for (const fixture::Song& s : songs) {
    std::string folder = dir + "/" + s.file.substr(0, s.file.rfind('/'));
    if (folder == last) continue;
    last = folder;
    if (album++ % 2 == 0) {
      std::error_code ec;
      std::filesystem::copy_file(fixture::TemplateDir() + "/cover.png", folder + "/folder.png",
                                 std::filesystem::copy_options::overwrite_existing, ec);
      if (ec) return Fail("cannot write " + folder + "/folder.png: " + ec.message());
    } else if (album % 4 == 2) {
      // A cover.jpg in some of the others.
      if (!WritePhoto(folder + "/cover.jpg", 500, 500, static_cast<unsigned>(album), &error))
        return Fail(error);
    }
  }
  // An album of its own whose cover is a 3000 x 3000 photo.
  fixture::Song large = fixture::Tune("Cover Demo/Large Photo/01 Large.mp3", "Large", "Large Photo",
                                      "Cover Demo", "Pop");
  if (!fixture::MakeSong(dir, large, &error) ||
      !WritePhoto(dir + "/Cover Demo/Large Photo/cover.jpg", 3000, 3000, 1, &error))
    return Fail(error);
  std::printf("%zu songs in %s\n", songs.size() + 1, dir.c_str());
  return 0;
}

int Synthetic(const std::string& dir, const std::string& count) {
  char* end = nullptr;
  unsigned long long n = std::strtoull(count.c_str(), &end, 10);
  if (count.empty() || *end != '\0' || n == 0) return Fail("N must be a positive number");
  std::string error;
  for (size_t i = 0; i < n; ++i)
    if (!fixture::MakeSong(dir, fixture::SyntheticSong(i, n), &error)) return Fail(error);
  std::printf("%llu songs in %s\n", n, dir.c_str());
  return 0;
}

int OneSong(int argc, char** argv) {
  fixture::Song song = fixture::Tune(argv[3], argv[4], argv[5], argv[6]);
  std::string error;
  if (!fixture::MakeSong(argv[2], song, &error)) return Fail(error);
  if (argc == 7) return 0;
  static const struct {
    const char* name;
    fixture::LyricsTag kind;
  } kKinds[] = {{"uslt", fixture::LyricsTag::kID3v2Uslt},
                {"sylt", fixture::LyricsTag::kID3v2Sylt},
                {"vorbis", fixture::LyricsTag::kVorbisLyrics},
                {"unsynced", fixture::LyricsTag::kVorbisUnsynced},
                {"mp4", fixture::LyricsTag::kMp4},
                {"ape", fixture::LyricsTag::kApe},
                {"asf", fixture::LyricsTag::kAsf}};
  for (const auto& k : kKinds) {
    if (std::string(argv[8]) != k.name) continue;
    if (!fixture::WriteTagLyrics(std::string(argv[2]) + "/" + argv[3], k.kind, argv[9], &error))
      return Fail(error);
    return 0;
  }
  return Fail(std::string("unknown lyrics kind ") + argv[8]);
}

}  // namespace

int main(int argc, char** argv) {
  std::string command = argc > 1 ? argv[1] : "";
  if (command == "--help" || command == "-h") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (command == "demo" && argc == 3) return Demo(argv[2]);
  if (command == "synthetic" && argc == 4) return Synthetic(argv[2], argv[3]);
  if (command == "song" && (argc == 7 || (argc == 10 && std::string(argv[7]) == "--lyrics")))
    return OneSong(argc, argv);
  std::fputs(kUsage, stderr);
  return 2;
}
