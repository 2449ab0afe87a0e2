#include "platform/index/scan/tag_reader.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/commentsframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tdebuglistener.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xiphcomment.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <vector>

#include "platform/index/scan/embedded_cover.h"

namespace cantora {
namespace {

// TagLib reports every oddity of every file on stderr; a scan of a real
// collection would drown the terminal. Failures are reported by the caller.
class QuietListener : public TagLib::DebugListener {
 public:
  void printMessage(const TagLib::String&) override {}
};

void SilenceTagLib() {
  static QuietListener quiet;
  static bool done = (TagLib::setDebugListener(&quiet), true);
  (void)done;
}

// One tag of a file, as a property map, and which of its keys hold bytes
// rather than Unicode text.
struct Source {
  TagLib::PropertyMap map;
  bool all_bytes = false;
  std::set<TagLib::String> byte_keys;
};

// The ID3v2 frames behind the properties read here.
struct FrameKey {
  const char* id;
  const char* key;
};
constexpr FrameKey kID3v2Keys[] = {
    {"TIT2", "TITLE"},       {"TALB", "ALBUM"},      {"TPE1", "ARTIST"},  {"TPE2", "ALBUMARTIST"},
    {"TCON", "GENRE"},       {"TCOM", "COMPOSER"},   {"COMM", "COMMENT"}, {"TSOP", "ARTISTSORT"},
    {"TRCK", "TRACKNUMBER"}, {"TPOS", "DISCNUMBER"}, {"TDRC", "DATE"},    {"TYER", "DATE"},
};

Source FromID3v2(TagLib::ID3v2::Tag* tag) {
  Source s;
  s.map = tag->properties();
  for (TagLib::ID3v2::Frame* frame : tag->frameList()) {
    TagLib::String::Type encoding;
    if (auto* text = dynamic_cast<TagLib::ID3v2::TextIdentificationFrame*>(frame))
      encoding = text->textEncoding();
    else if (auto* comment = dynamic_cast<TagLib::ID3v2::CommentsFrame*>(frame))
      encoding = comment->textEncoding();
    else
      continue;
    if (encoding != TagLib::String::Latin1) continue;
    for (const auto& k : kID3v2Keys)
      if (frame->frameID() == k.id) s.byte_keys.insert(k.key);
  }
  return s;
}

Source Unicode(const TagLib::PropertyMap& map) {
  Source s;
  s.map = map;
  return s;
}

Source Bytes(const TagLib::PropertyMap& map) {
  Source s;
  s.map = map;
  s.all_bytes = true;
  return s;
}

// The first source that has the key decides; several values are joined.
std::string Field(const std::vector<Source>& sources, const char* key) {
  for (const Source& s : sources) {
    auto it = s.map.find(key);
    if (it == s.map.end() || it->second.isEmpty()) continue;
    bool bytes = s.all_bytes || s.byte_keys.count(key) > 0;
    std::string out;
    for (const TagLib::String& value : it->second) {
      if (!out.empty()) out += "; ";
      out += value.to8Bit(!bytes);
    }
    if (!out.empty()) return out;
  }
  return "";
}

int LeadingNumber(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

int CountApeCovers(TagLib::APE::Tag* tag) {
  int n = 0;
  for (const auto& item : tag->itemListMap())
    if (item.first.upper().startsWith("COVER ART")) ++n;
  return n;
}

int CountID3v2Covers(TagLib::ID3v2::Tag* tag) {
  return static_cast<int>(tag->frameListMap()["APIC"].size());
}

// Collects the file's tags in order of precedence, and counts its pictures.
void Inspect(TagLib::File* file, std::vector<Source>* sources, int* covers) {
  *covers = 0;
  if (auto* f = dynamic_cast<TagLib::MPEG::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f->ID3v2Tag()));
      *covers = CountID3v2Covers(f->ID3v2Tag());
    }
    if (f->hasAPETag()) sources->push_back(Unicode(f->APETag()->properties()));
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::FLAC::File*>(file)) {
    if (f->hasXiphComment()) {
      sources->push_back(Unicode(f->xiphComment()->properties()));
      *covers += static_cast<int>(f->xiphComment()->pictureList().size());
    }
    *covers += static_cast<int>(f->pictureList().size());
    if (f->hasID3v2Tag()) sources->push_back(FromID3v2(f->ID3v2Tag()));
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::RIFF::WAV::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f->ID3v2Tag()));
      *covers = CountID3v2Covers(f->ID3v2Tag());
    }
    if (f->hasInfoTag()) sources->push_back(Bytes(f->InfoTag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::RIFF::AIFF::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f->tag()));
      *covers = CountID3v2Covers(f->tag());
    }
  } else if (auto* f = dynamic_cast<TagLib::WavPack::File*>(file)) {
    if (f->hasAPETag()) {
      sources->push_back(Unicode(f->APETag()->properties()));
      *covers = CountApeCovers(f->APETag());
    }
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::APE::File*>(file)) {
    if (f->hasAPETag()) {
      sources->push_back(Unicode(f->APETag()->properties()));
      *covers = CountApeCovers(f->APETag());
    }
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else {
    sources->push_back(Unicode(file->properties()));
    if (auto* f = dynamic_cast<TagLib::Ogg::Vorbis::File*>(file))
      *covers = static_cast<int>(f->tag()->pictureList().size());
    else if (auto* f = dynamic_cast<TagLib::Ogg::Opus::File*>(file))
      *covers = static_cast<int>(f->tag()->pictureList().size());
    else if (auto* f = dynamic_cast<TagLib::MP4::File*>(file))
      *covers = static_cast<int>(f->tag()->item("covr").toCoverArtList().size());
    else if (auto* f = dynamic_cast<TagLib::ASF::File*>(file))
      *covers = static_cast<int>(f->tag()->attribute("WM/Picture").size());
  }
}

}  // namespace

bool IsAudioFileName(std::string_view name) {
  static const char* const kExtensions[] = {"mp3",  "mp2",  "flac", "ogg", "oga",
                                            "opus", "m4a",  "m4b",  "wma", "wav",
                                            "aif",  "aiff", "aifc", "ape", "wv"};
  size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return false;
  std::string_view ext = name.substr(dot + 1);
  for (const char* known : kExtensions) {
    std::string_view k(known);
    if (k.size() != ext.size()) continue;
    bool same = true;
    for (size_t i = 0; i < k.size() && same; ++i) {
      char c = ext[i];
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
      same = c == k[i];
    }
    if (same) return true;
  }
  return false;
}

bool ReadSongTags(const std::string& path, SongTags* tags, std::string* error) {
  SilenceTagLib();
  TagLib::FileRef ref(path.c_str(), true, TagLib::AudioProperties::Average);
  TagLib::File* file = ref.file();
  if (file == nullptr || !file->isValid()) {
    *error = "not a readable audio file";
    return false;
  }
  TagLib::AudioProperties* props = file->audioProperties();
  if (props == nullptr || props->sampleRate() <= 0) {
    *error = "no audio stream found";
    return false;
  }
  std::vector<Source> sources;
  *tags = SongTags();
  Inspect(file, &sources, &tags->covercount);
  if (tags->covercount > 0) tags->embedded_cover = ExtractEmbeddedCover(file);
  tags->title = Field(sources, "TITLE");
  tags->album = Field(sources, "ALBUM");
  tags->artist = Field(sources, "ARTIST");
  tags->album_artist = Field(sources, "ALBUMARTIST");
  tags->genre = Field(sources, "GENRE");
  tags->composer = Field(sources, "COMPOSER");
  tags->comment = Field(sources, "COMMENT");
  tags->artist_sort = Field(sources, "ARTISTSORT");
  if (tags->artist_sort.empty()) tags->artist_sort = tags->artist;
  tags->track = LeadingNumber(Field(sources, "TRACKNUMBER"));
  tags->disc = LeadingNumber(Field(sources, "DISCNUMBER"));
  tags->year = LeadingNumber(Field(sources, "DATE"));
  tags->duration = props->lengthInMilliseconds() / 1000.0;
  tags->bitrate = props->bitrate() * 1000;
  tags->frequency = props->sampleRate();
  tags->channel = props->channels();
  return true;
}

}  // namespace cantora
