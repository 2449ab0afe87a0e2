#include "platform/indexer/tag_lyrics.h"

#include <taglib/aifffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/synchronizedlyricsframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/unsynchronizedlyricsframe.h>
#include <taglib/wavfile.h>

namespace cantora {
namespace {

TagLib::ID3v2::Tag* ID3v2Of(TagLib::File* file) {
  if (auto* f = dynamic_cast<TagLib::MPEG::File*>(file))
    return f->hasID3v2Tag() ? f->ID3v2Tag() : nullptr;
  if (auto* f = dynamic_cast<TagLib::RIFF::WAV::File*>(file))
    return f->hasID3v2Tag() ? f->ID3v2Tag() : nullptr;
  if (auto* f = dynamic_cast<TagLib::RIFF::AIFF::File*>(file))
    return f->hasID3v2Tag() ? f->tag() : nullptr;
  if (auto* f = dynamic_cast<TagLib::FLAC::File*>(file))
    return f->hasID3v2Tag() ? f->ID3v2Tag() : nullptr;
  return nullptr;
}

std::string Utf8(const TagLib::String& text) { return text.to8Bit(true); }

std::string FromID3v2(TagLib::ID3v2::Tag* tag) {
  for (TagLib::ID3v2::Frame* frame : tag->frameListMap()["USLT"]) {
    auto* uslt = dynamic_cast<TagLib::ID3v2::UnsynchronizedLyricsFrame*>(frame);
    if (uslt != nullptr && !uslt->text().isEmpty()) return Utf8(uslt->text());
  }
  for (TagLib::ID3v2::Frame* frame : tag->frameListMap()["SYLT"]) {
    auto* sylt = dynamic_cast<TagLib::ID3v2::SynchronizedLyricsFrame*>(frame);
    if (sylt == nullptr) continue;
    std::string text;
    for (const auto& entry : sylt->synchedText()) {
      std::string line = Utf8(entry.text);
      // Taggers start each entry with the line break before it, or not.
      while (!line.empty() && (line[0] == '\n' || line[0] == '\r')) line.erase(0, 1);
      if (!text.empty()) text += '\n';
      text += line;
    }
    if (!text.empty()) return text;
  }
  return "";
}

std::string FromProperties(const TagLib::PropertyMap& map) {
  for (const char* key : {"LYRICS", "UNSYNCEDLYRICS"}) {
    auto it = map.find(key);
    if (it == map.end()) continue;
    std::string text;
    for (const TagLib::String& value : it->second) {
      if (value.isEmpty()) continue;
      if (!text.empty()) text += '\n';
      text += Utf8(value);
    }
    if (!text.empty()) return text;
  }
  return "";
}

}  // namespace

std::string ReadTagLyrics(TagLib::File* file) {
  if (file == nullptr) return "";
  if (TagLib::ID3v2::Tag* id3 = ID3v2Of(file)) {
    std::string text = FromID3v2(id3);
    if (!text.empty()) return text;
  }
  return FromProperties(file->properties());
}

}  // namespace cantora
