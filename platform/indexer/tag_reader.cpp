#include "platform/indexer/tag_reader.h"

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
#include <taglib/rifffile.h>
#include <taglib/speexfile.h>
#include <taglib/tdebuglistener.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xiphcomment.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <set>
#include <vector>

#include "platform/indexer/tag_bytes.h"
#include "platform/text/utf8.h"
#include "platform/indexer/tag_lyrics.h"
#include "platform/indexer/embedded_cover.h"

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

// One tag of a file: its text fields by property name, each value as the
// bytes to store.
struct Source {
  TagFields fields;
};

// Text from TagLib's String: as UTF-8, or, for formats and frames that
// carry plain bytes, as the bytes themselves (TagLib holds such text as
// Latin-1, one character per byte).
void AddValues(const TagLib::PropertyMap& map, bool bytes, const std::string& key, Source* s) {
  auto it = map.find(key);
  if (it == map.end()) return;
  std::vector<std::string>& values = s->fields[key];
  values.clear();
  for (const TagLib::String& value : it->second) values.push_back(value.to8Bit(!bytes));
}

// The property names read here.
constexpr const char* kKeys[] = {"TITLE",    "ALBUM",   "ARTIST",     "ALBUMARTIST",
                                 "GENRE",    "COMPOSER", "COMMENT",   "ARTISTSORT",
                                 "TRACKNUMBER", "DISCNUMBER", "DATE"};

Source FromMap(const TagLib::PropertyMap& map, bool bytes) {
  Source s;
  for (const char* key : kKeys) AddValues(map, bytes, key, &s);
  return s;
}

Source Unicode(const TagLib::PropertyMap& map) { return FromMap(map, false); }
Source Bytes(const TagLib::PropertyMap& map) { return FromMap(map, true); }

// Formats whose text is UTF-8 by definition (Vorbis comments, APEv2, MP4):
// each field's bytes as read from the tag's data; TagLib's text for a field
// that reading does not give (MP4 track numbers are integers), or for the
// whole tag when its data could not be read.
Source FromRawText(bool read, const TagFields& raw, const TagLib::PropertyMap& map) {
  Source s = Unicode(map);
  if (!read) return s;
  for (const char* key : kKeys) {
    auto it = raw.find(key);
    if (it != raw.end()) s.fields[key] = it->second;
  }
  return s;
}

// The ID3v2 frames behind the properties read here.
struct FrameKey {
  const char* id;
  const char* key;
};
constexpr FrameKey kID3v2Keys[] = {
    {"TIT2", "TITLE"},       {"TALB", "ALBUM"},      {"TPE1", "ARTIST"},  {"TPE2", "ALBUMARTIST"},
    {"TCON", "GENRE"},       {"TCOM", "COMPOSER"},   {"COMM", "COMMENT"}, {"TSOP", "ARTISTSORT"},
    {"TRCK", "TRACKNUMBER"}, {"TPOS", "DISCNUMBER"}, {"TDRC", "DATE"},
};

const std::vector<std::string>& ID3v2TextIDs() {
  static const std::vector<std::string> ids = [] {
    std::vector<std::string> v;
    for (const auto& k : kID3v2Keys) v.push_back(k.id);
    return v;
  }();
  return ids;
}

// A text or comment frame's encoding and values; false for other frames.
bool FrameText(TagLib::ID3v2::Frame* frame, TagLib::String::Type* encoding,
               TagLib::StringList* values) {
  if (auto* text = dynamic_cast<TagLib::ID3v2::TextIdentificationFrame*>(frame)) {
    *encoding = text->textEncoding();
    *values = text->fieldList();
    return true;
  }
  if (auto* comment = dynamic_cast<TagLib::ID3v2::CommentsFrame*>(frame)) {
    *encoding = comment->textEncoding();
    *values = TagLib::StringList(comment->text());
    return true;
  }
  return false;
}

// Whether TagLib may have altered a UTF-8 frame's text: it empties a value
// holding a broken sequence (and a decoder that replaced such sequences
// would leave U+FFFD). Only such frames are read again for their bytes.
bool MayBeAltered(const TagLib::StringList& values) {
  constexpr wchar_t kReplacement = 0xFFFD;
  for (const TagLib::String& v : values)
    if (v.isEmpty() || std::find(v.begin(), v.end(), kReplacement) != v.end()) return true;
  return values.isEmpty();
}

bool AllValid(const std::vector<std::string>& values) {
  for (const std::string& v : values)
    if (!TryUTF8ToUTF16(v.c_str())) return false;
  return true;
}

// ID3v2 text by its frames' declared encoding:
//   Latin-1: the bytes as they are (taggers put UTF-8 and code pages there);
//   UTF-16:  TagLib's text, as UTF-8;
//   UTF-8:   TagLib's text while it is valid, which TagLib reads unchanged;
//            otherwise the frame's own bytes (offset: where the tag starts).
// TagLib's text keeps its reading of numeric genres ("17", "(17)").
Source FromID3v2(TagLib::File* file, TagLib::ID3v2::Tag* tag, long offset) {
  const TagLib::PropertyMap map = tag->properties();
  std::set<std::string> latin1;
  bool altered = false;
  TagLib::String::Type encoding;
  TagLib::StringList values;
  for (TagLib::ID3v2::Frame* frame : tag->frameList()) {
    const auto* k = std::find_if(std::begin(kID3v2Keys), std::end(kID3v2Keys),
                                 [&](const FrameKey& key) { return frame->frameID() == key.id; });
    if (k == std::end(kID3v2Keys) || !FrameText(frame, &encoding, &values)) continue;
    if (encoding == TagLib::String::Latin1) latin1.insert(k->key);
    if (encoding == TagLib::String::UTF8 && MayBeAltered(values)) altered = true;
  }
  Source s;
  for (const char* key : kKeys) AddValues(map, latin1.count(key) > 0, key, &s);
  if (!altered) return s;
  TagFields raw;
  if (!ReadID3v2Utf8Frames(file, offset, ID3v2TextIDs(), &raw)) return s;
  for (const auto& k : kID3v2Keys) {
    auto it = raw.find(k.id);
    if (it != raw.end() && !AllValid(it->second)) s.fields[k.key] = it->second;
  }
  return s;
}

// The first source that has the key decides; several values are joined.
std::string Field(const std::vector<Source>& sources, const char* key) {
  for (const Source& s : sources) {
    auto it = s.fields.find(key);
    if (it == s.fields.end()) continue;
    std::string out;
    for (const std::string& value : it->second) {
      if (!out.empty()) out += "; ";
      out += value;
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

// RIFF::File keeps its chunk table protected. A pointer to member named
// through a class derived from it reads the table of any RIFF file (the
// class is never made).
struct RiffChunks : TagLib::RIFF::File {
  // Where the ID3v2 tag of a WAV or AIFF file starts: TagLib reads the first
  // chunk named "ID3 " or "id3 ".
  static long ID3v2Offset(TagLib::RIFF::File* file) {
    const auto count = &RiffChunks::chunkCount;
    const auto name = &RiffChunks::chunkName;
    const auto offset = &RiffChunks::chunkOffset;
    for (unsigned i = 0; i < (file->*count)(); ++i) {
      const TagLib::ByteVector n = (file->*name)(i);
      if (n == "ID3 " || n == "id3 ") return static_cast<long>((file->*offset)(i));
    }
    return -1;
  }
};

// MPEG and FLAC files have their ID3v2 tag at the start, or none (TagLib
// looks nowhere else).
constexpr long kLeadingTag = 0;

Source FromOgg(TagLib::Ogg::File* file, TagLib::Ogg::XiphComment* tag) {
  TagFields raw;
  const bool read = ReadOggCommentBytes(file, &raw);
  return FromRawText(read, raw, tag->properties());
}

Source FromApe(TagLib::File* file, bool has_id3v1, TagLib::APE::Tag* tag) {
  TagFields raw;
  const bool read = ReadApeTextBytes(file, has_id3v1, &raw);
  return FromRawText(read, raw, tag->properties());
}

Source FromMp4(TagLib::MP4::File* file) {
  TagFields raw;
  const bool read = ReadMp4TextBytes(file, &raw);
  return FromRawText(read, raw, file->properties());
}

// Collects the file's tags in order of precedence, and counts its pictures.
void Inspect(TagLib::File* file, std::vector<Source>* sources, int* covers) {
  *covers = 0;
  if (auto* f = dynamic_cast<TagLib::MPEG::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f, f->ID3v2Tag(), kLeadingTag));
      *covers = CountID3v2Covers(f->ID3v2Tag());
    }
    if (f->hasAPETag()) sources->push_back(FromApe(f, f->hasID3v1Tag(), f->APETag()));
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::FLAC::File*>(file)) {
    if (f->hasXiphComment()) {
      TagFields raw;
      const bool read = ReadFlacCommentBytes(f, &raw);
      sources->push_back(FromRawText(read, raw, f->xiphComment()->properties()));
      *covers += static_cast<int>(f->xiphComment()->pictureList().size());
    }
    *covers += static_cast<int>(f->pictureList().size());
    if (f->hasID3v2Tag()) sources->push_back(FromID3v2(f, f->ID3v2Tag(), kLeadingTag));
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::RIFF::WAV::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f, f->ID3v2Tag(), RiffChunks::ID3v2Offset(f)));
      *covers = CountID3v2Covers(f->ID3v2Tag());
    }
    if (f->hasInfoTag()) sources->push_back(Bytes(f->InfoTag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::RIFF::AIFF::File*>(file)) {
    if (f->hasID3v2Tag()) {
      sources->push_back(FromID3v2(f, f->tag(), RiffChunks::ID3v2Offset(f)));
      *covers = CountID3v2Covers(f->tag());
    }
  } else if (auto* f = dynamic_cast<TagLib::WavPack::File*>(file)) {
    if (f->hasAPETag()) {
      sources->push_back(FromApe(f, f->hasID3v1Tag(), f->APETag()));
      *covers = CountApeCovers(f->APETag());
    }
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::APE::File*>(file)) {
    if (f->hasAPETag()) {
      sources->push_back(FromApe(f, f->hasID3v1Tag(), f->APETag()));
      *covers = CountApeCovers(f->APETag());
    }
    if (f->hasID3v1Tag()) sources->push_back(Bytes(f->ID3v1Tag()->properties()));
  } else if (auto* f = dynamic_cast<TagLib::Ogg::Vorbis::File*>(file)) {
    sources->push_back(FromOgg(f, f->tag()));
    *covers = static_cast<int>(f->tag()->pictureList().size());
  } else if (auto* f = dynamic_cast<TagLib::Ogg::Opus::File*>(file)) {
    sources->push_back(FromOgg(f, f->tag()));
    *covers = static_cast<int>(f->tag()->pictureList().size());
  } else if (auto* f = dynamic_cast<TagLib::Ogg::Speex::File*>(file)) {
    sources->push_back(FromOgg(f, f->tag()));
    *covers = static_cast<int>(f->tag()->pictureList().size());
  } else if (auto* f = dynamic_cast<TagLib::MP4::File*>(file)) {
    sources->push_back(FromMp4(f));
    *covers = static_cast<int>(f->tag()->item("covr").toCoverArtList().size());
  } else {
    sources->push_back(Unicode(file->properties()));
    if (auto* f = dynamic_cast<TagLib::ASF::File*>(file))
      *covers = static_cast<int>(f->tag()->attribute("WM/Picture").size());
  }
}

}  // namespace

bool IsAudioFileName(std::string_view name) {
  static const char* const kExtensions[] = {"mp3",  "mp2",  "flac", "ogg", "oga",
                                            "opus", "m4a",  "m4b",  "wma", "wav",
                                            "aif",  "aiff", "aifc", "ape", "wv",  "spx"};
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
  tags->lyrics = ReadTagLyrics(file);
  return true;
}

}  // namespace cantora
