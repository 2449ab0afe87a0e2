#include "tests/support/fixture_lyrics.h"

#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/synchronizedlyricsframe.h>
#include <taglib/unsynchronizedlyricsframe.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xiphcomment.h>

#include <sstream>

namespace fixture {
namespace {

TagLib::String Utf8(const std::string& text) { return TagLib::String(text, TagLib::String::UTF8); }

TagLib::ID3v2::Tag* ID3v2Of(TagLib::File* file) {
  if (auto* f = dynamic_cast<TagLib::MPEG::File*>(file)) return f->ID3v2Tag(true);
  if (auto* f = dynamic_cast<TagLib::RIFF::WAV::File*>(file)) return f->ID3v2Tag();
  if (auto* f = dynamic_cast<TagLib::RIFF::AIFF::File*>(file)) return f->tag();
  return nullptr;
}

TagLib::Ogg::XiphComment* XiphOf(TagLib::File* file) {
  if (auto* f = dynamic_cast<TagLib::FLAC::File*>(file)) return f->xiphComment(true);
  if (auto* f = dynamic_cast<TagLib::Ogg::Vorbis::File*>(file)) return f->tag();
  if (auto* f = dynamic_cast<TagLib::Ogg::Opus::File*>(file)) return f->tag();
  return nullptr;
}

bool Add(TagLib::File* file, LyricsTag kind, const std::string& text) {
  switch (kind) {
    case LyricsTag::kID3v2Uslt: {
      TagLib::ID3v2::Tag* tag = ID3v2Of(file);
      if (tag == nullptr) return false;
      auto* frame = new TagLib::ID3v2::UnsynchronizedLyricsFrame(TagLib::String::UTF8);
      frame->setLanguage("eng");
      frame->setText(Utf8(text));
      tag->addFrame(frame);
      return true;
    }
    case LyricsTag::kID3v2Sylt: {
      TagLib::ID3v2::Tag* tag = ID3v2Of(file);
      if (tag == nullptr) return false;
      auto* frame = new TagLib::ID3v2::SynchronizedLyricsFrame(TagLib::String::UTF8);
      frame->setLanguage("eng");
      frame->setTimestampFormat(TagLib::ID3v2::SynchronizedLyricsFrame::AbsoluteMilliseconds);
      frame->setType(TagLib::ID3v2::SynchronizedLyricsFrame::Lyrics);
      TagLib::ID3v2::SynchronizedLyricsFrame::SynchedTextList lines;
      std::istringstream in(text);
      std::string line;
      unsigned time = 0;
      while (std::getline(in, line)) {
        lines.append(TagLib::ID3v2::SynchronizedLyricsFrame::SynchedText(time, Utf8(line)));
        time += 2000;
      }
      frame->setSynchedText(lines);
      tag->addFrame(frame);
      return true;
    }
    case LyricsTag::kVorbisLyrics:
    case LyricsTag::kVorbisUnsynced: {
      TagLib::Ogg::XiphComment* tag = XiphOf(file);
      if (tag == nullptr) return false;
      tag->addField(kind == LyricsTag::kVorbisLyrics ? "LYRICS" : "UNSYNCEDLYRICS", Utf8(text));
      return true;
    }
    case LyricsTag::kMp4: {
      auto* f = dynamic_cast<TagLib::MP4::File*>(file);
      if (f == nullptr) return false;
      f->tag()->setItem("\251lyr", TagLib::StringList(Utf8(text)));
      return true;
    }
    case LyricsTag::kApe: {
      auto* f = dynamic_cast<TagLib::WavPack::File*>(file);
      if (f == nullptr) return false;
      f->APETag(true)->addValue("Lyrics", Utf8(text));
      return true;
    }
    case LyricsTag::kAsf: {
      auto* f = dynamic_cast<TagLib::ASF::File*>(file);
      if (f == nullptr) return false;
      f->tag()->setAttribute("WM/Lyrics", TagLib::ASF::Attribute(Utf8(text)));
      return true;
    }
  }
  return false;
}

}  // namespace

bool WriteTagLyrics(const std::string& path, LyricsTag kind, const std::string& text,
                    std::string* error) {
  TagLib::FileRef ref(path.c_str(), false);
  if (ref.file() == nullptr || !ref.file()->isValid()) {
    *error = path + ": not a readable audio file";
    return false;
  }
  if (!Add(ref.file(), kind, text)) {
    *error = path + ": this file cannot hold that kind of lyrics";
    return false;
  }
  if (!ref.file()->save()) {
    *error = path + ": cannot save";
    return false;
  }
  return true;
}

}  // namespace fixture
