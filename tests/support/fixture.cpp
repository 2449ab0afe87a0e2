#include "tests/support/fixture.h"

#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/commentsframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tbytevectorstream.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xiphcomment.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/text/utf8.h"

namespace fixture {
namespace {

using TagLib::ByteVector;
using TagLib::String;

std::string Extension(const std::string& file) {
  if (file.size() >= 8 && file.compare(file.size() - 8, 8, "alac.m4a") == 0) return "alac.m4a";
  size_t dot = file.rfind('.');
  return dot == std::string::npos ? "" : file.substr(dot + 1);
}

bool ReadWhole(const std::string& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream s;
  s << in.rdbuf();
  *out = s.str();
  return true;
}

// Template file name per extension, and the templates read once.
const std::map<std::string, std::string>& Templates() {
  static const std::map<std::string, std::string> templates = [] {
    static const char* const kFiles[][2] = {
        {"mp3", "tone.mp3"},   {"flac", "tone.flac"}, {"ogg", "tone.ogg"},
        {"opus", "tone.opus"}, {"m4a", "tone.m4a"},   {"alac.m4a", "tone-alac.m4a"},
        {"wma", "tone.wma"},   {"wav", "tone.wav"},   {"aiff", "tone.aiff"},
        {"wv", "tone.wv"},     {"jpg", "cover.jpg"},  {"png", "cover.png"}};
    std::map<std::string, std::string> m;
    for (const auto& f : kFiles) {
      std::string data;
      if (ReadWhole(TemplateDir() + "/" + f[1], &data)) m[f[0]] = data;
    }
    return m;
  }();
  return templates;
}

ByteVector Bytes(const std::string& s) {
  return ByteVector(s.data(), static_cast<unsigned int>(s.size()));
}

const ByteVector& CoverBytes() {
  static const ByteVector cover = Bytes(Templates().count("jpg") ? Templates().at("jpg") : "");
  return cover;
}

// A mono 16-bit 8 kHz WAV file of silence lasting `seconds`.
std::string SilentWav(double seconds) {
  const uint32_t rate = 8000;
  const uint32_t data = static_cast<uint32_t>(seconds * rate + 0.5) * 2;
  std::string out;
  auto u32 = [&](uint32_t v) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>((v >> (8 * i)) & 0xff);
  };
  auto u16 = [&](uint16_t v) {
    for (int i = 0; i < 2; ++i) out += static_cast<char>((v >> (8 * i)) & 0xff);
  };
  out += "RIFF";
  u32(36 + data);
  out += "WAVEfmt ";
  u32(16);
  u16(1);  // PCM
  u16(1);  // mono
  u32(rate);
  u32(rate * 2);  // bytes per second
  u16(2);         // block align
  u16(16);        // bits per sample
  out += "data";
  u32(data);
  out.append(data, '\0');
  return out;
}

// The song's text fields by property name, split into Unicode text and bytes.
struct Texts {
  TagLib::PropertyMap unicode;
  std::vector<std::pair<std::string, std::string>> bytes;  // (property, raw value)
};

Texts CollectTexts(const Song& s) {
  const std::pair<const char*, const std::string*> fields[] = {
      {"TITLE", &s.title},     {"ALBUM", &s.album},
      {"ARTIST", &s.artist},   {"ALBUMARTIST", &s.album_artist},
      {"GENRE", &s.genre},     {"COMPOSER", &s.composer},
      {"COMMENT", &s.comment}, {"ARTISTSORT", &s.artist_sort}};
  Texts t;
  for (const auto& f : fields) {
    if (f.second->empty()) continue;
    if (TryUTF8ToUTF16(f.second->c_str()))
      t.unicode.insert(f.first, TagLib::StringList(String(*f.second, String::UTF8)));
    else
      t.bytes.emplace_back(f.first, *f.second);
  }
  if (s.track > 0) t.unicode.insert("TRACKNUMBER", TagLib::StringList(String::number(s.track)));
  if (s.disc > 0) t.unicode.insert("DISCNUMBER", TagLib::StringList(String::number(s.disc)));
  if (s.year > 0) t.unicode.insert("DATE", TagLib::StringList(String::number(s.year)));
  return t;
}

String Latin1(const std::string& bytes) { return String(Bytes(bytes), String::Latin1); }

// Picture n of a song: its front cover, or a back cover.
bool IsFront(const Song& s, int n) { return n == (s.front_last ? s.covers - 1 : 0); }

ByteVector PictureBytes(const Song& s, int n) {
  return IsFront(s, n) && !s.front_picture.empty() ? Bytes(s.front_picture) : CoverBytes();
}

TagLib::FLAC::Picture* NewFlacPicture(const Song& s, int n) {
  auto* p = new TagLib::FLAC::Picture;
  p->setData(PictureBytes(s, n));
  p->setMimeType("image/jpeg");
  p->setType(IsFront(s, n) ? TagLib::FLAC::Picture::FrontCover : TagLib::FLAC::Picture::BackCover);
  p->setDescription(String::number(n));
  return p;
}

bool FillID3v2(TagLib::ID3v2::Tag* tag, const Song& s, const Texts& t, std::string* error) {
  static const std::map<std::string, const char*> kFrames = {
      {"TITLE", "TIT2"}, {"ALBUM", "TALB"},    {"ARTIST", "TPE1"},    {"ALBUMARTIST", "TPE2"},
      {"GENRE", "TCON"}, {"COMPOSER", "TCOM"}, {"ARTISTSORT", "TSOP"}};
  tag->setProperties(t.unicode);
  // Bytes that are not UTF-8 go into Latin-1 frames, byte for byte.
  for (const auto& raw : t.bytes) {
    if (raw.first == "COMMENT") {
      auto* comment = new TagLib::ID3v2::CommentsFrame(String::Latin1);
      comment->setLanguage("eng");
      comment->setText(Latin1(raw.second));
      tag->addFrame(comment);
      continue;
    }
    auto it = kFrames.find(raw.first);
    if (it == kFrames.end()) {
      *error = "no Latin-1 frame for " + raw.first;
      return false;
    }
    auto* frame = new TagLib::ID3v2::TextIdentificationFrame(it->second, String::Latin1);
    frame->setText(Latin1(raw.second));
    tag->addFrame(frame);
  }
  for (int n = 0; n < s.covers; ++n) {
    auto* apic = new TagLib::ID3v2::AttachedPictureFrame;
    apic->setMimeType("image/jpeg");
    apic->setType(IsFront(s, n) ? TagLib::ID3v2::AttachedPictureFrame::FrontCover
                                : TagLib::ID3v2::AttachedPictureFrame::BackCover);
    apic->setDescription(String::number(n));
    apic->setPicture(PictureBytes(s, n));
    tag->addFrame(apic);
  }
  return true;
}

bool RefuseBytes(const Texts& t, const std::string& ext, std::string* error) {
  if (t.bytes.empty()) return true;
  *error = "text that is not UTF-8 needs an ID3v2 format, not " + ext;
  return false;
}

// Writes the song's tags into the audio held by stream.
bool WriteTags(const std::string& ext, TagLib::ByteVectorStream* stream, const Song& s,
               std::string* error) {
  const Texts t = CollectTexts(s);
  TagLib::ID3v2::FrameFactory* frames = TagLib::ID3v2::FrameFactory::instance();
  if (ext == "mp3") {
    TagLib::MPEG::File f(stream, frames, false);
    if (s.id3v1_only) {
      TagLib::ID3v1::Tag* tag = f.ID3v1Tag(true);
      tag->setTitle(Latin1(s.title));
      tag->setAlbum(Latin1(s.album));
      tag->setArtist(Latin1(s.artist));
      tag->setComment(Latin1(s.comment));
      tag->setGenre(Latin1(s.genre));
      tag->setTrack(static_cast<unsigned>(s.track));
      tag->setYear(static_cast<unsigned>(s.year));
      return f.save(TagLib::MPEG::File::ID3v1, TagLib::File::StripOthers, TagLib::ID3v2::v4,
                    TagLib::File::DoNotDuplicate);
    }
    return FillID3v2(f.ID3v2Tag(true), s, t, error) &&
           f.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
  }
  if (ext == "wav") {
    TagLib::RIFF::WAV::File f(stream, false);
    return FillID3v2(f.ID3v2Tag(), s, t, error) &&
           f.save(TagLib::RIFF::WAV::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v4);
  }
  if (ext == "aiff") {
    TagLib::RIFF::AIFF::File f(stream, false);
    return FillID3v2(f.tag(), s, t, error) && f.save();
  }
  if (!RefuseBytes(t, ext, error)) return false;
  if (ext == "flac") {
    TagLib::FLAC::File f(stream, frames, false);
    f.xiphComment(true)->setProperties(t.unicode);
    for (int n = 0; n < s.covers; ++n) f.addPicture(NewFlacPicture(s, n));
    return f.save();
  }
  if (ext == "ogg") {
    TagLib::Ogg::Vorbis::File f(stream, false);
    f.tag()->setProperties(t.unicode);
    for (int n = 0; n < s.covers; ++n) f.tag()->addPicture(NewFlacPicture(s, n));
    return f.save();
  }
  if (ext == "opus") {
    TagLib::Ogg::Opus::File f(stream, false);
    f.tag()->setProperties(t.unicode);
    for (int n = 0; n < s.covers; ++n) f.tag()->addPicture(NewFlacPicture(s, n));
    return f.save();
  }
  if (ext == "m4a" || ext == "alac.m4a") {
    TagLib::MP4::File f(stream, false);
    f.tag()->setProperties(t.unicode);
    if (s.covers > 0) {
      TagLib::MP4::CoverArtList covers;
      for (int n = 0; n < s.covers; ++n)
        covers.append(TagLib::MP4::CoverArt(TagLib::MP4::CoverArt::JPEG, PictureBytes(s, n)));
      f.tag()->setItem("covr", covers);
    }
    return f.save();
  }
  if (ext == "wma") {
    TagLib::ASF::File f(stream, false);
    f.tag()->setProperties(t.unicode);
    for (int n = 0; n < s.covers; ++n) {
      TagLib::ASF::Picture p;
      p.setMimeType("image/jpeg");
      p.setType(IsFront(s, n) ? TagLib::ASF::Picture::FrontCover
                              : TagLib::ASF::Picture::BackCover);
      p.setPicture(PictureBytes(s, n));
      f.tag()->addAttribute("WM/Picture", TagLib::ASF::Attribute(p));
    }
    return f.save();
  }
  if (ext == "wv") {
    TagLib::WavPack::File f(stream, false);
    TagLib::APE::Tag* tag = f.APETag(true);
    tag->setProperties(t.unicode);
    for (int n = 0; n < s.covers; ++n) {
      ByteVector value("cover.jpg", 10);  // the name and its NUL come first
      value.append(PictureBytes(s, n));
      const char* key = IsFront(s, n) ? "Cover Art (Front)" : "Cover Art (Back)";
      tag->setItem(key, TagLib::APE::Item(key, value, true));
    }
    return f.save();
  }
  *error = "no template for ." + ext;
  return false;
}

bool WriteFile(const std::string& path, const char* data, size_t size, int64_t sparse_size,
               std::string* error) {
  std::error_code ec;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) {
    *error = "cannot write " + path;
    return false;
  }
  bool ok = std::fwrite(data, 1, size, f) == size;
  ok = std::fflush(f) == 0 && ok;
  if (ok && sparse_size > static_cast<int64_t>(size)) ok = ftruncate(fileno(f), sparse_size) == 0;
  ok = std::fclose(f) == 0 && ok;
  if (!ok) *error = "cannot write " + path;
  return ok;
}

}  // namespace

std::string TemplateDir() { return std::string(CANTORA_SOURCE_DIR) + "/tests/data/templates"; }

bool MakeSong(const std::string& root, const Song& song, std::string* error) {
  error->clear();
  const std::string path = root + "/" + song.file;
  if (song.corrupt) {
    std::string junk;
    while (junk.size() < 4096) junk += "this is not audio, only text under an audio name\n";
    return WriteFile(path, junk.data(), junk.size(), song.sparse_size, error);
  }
  const std::string ext = Extension(song.file);
  std::string audio;
  if (ext == "wav" && song.seconds > 0) {
    audio = SilentWav(song.seconds);
  } else {
    auto it = Templates().find(ext);
    if (it == Templates().end() || ext == "jpg" || ext == "png") {
      *error = "no template for " + song.file;
      return false;
    }
    audio = it->second;
  }
  TagLib::ByteVectorStream stream(Bytes(audio));
  if (!WriteTags(ext, &stream, song, error)) {
    if (error->empty()) *error = "TagLib could not tag " + song.file;
    return false;
  }
  const ByteVector* data = stream.data();
  return WriteFile(path, data->data(), data->size(), song.sparse_size, error);
}

Song Tune(const std::string& file, const std::string& title, const std::string& album,
          const std::string& artist, const std::string& genre) {
  Song s;
  s.file = file;
  s.title = title;
  s.album = album;
  s.artist = artist;
  s.genre = genre;
  s.track = 1;
  return s;
}

bool MakeSongs(const std::string& root, const std::vector<Song>& songs, std::string* error) {
  for (const Song& s : songs)
    if (!MakeSong(root, s, error)) return false;
  return true;
}

}  // namespace fixture
