#include "platform/indexer/embedded_cover.h"

#include <syslog.h>
#include <taglib/apefile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/aifffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xiphcomment.h>

#include <string_view>

#include "platform/media/cover/cover_cache.h"

namespace cantora {
namespace {

// The best picture seen so far: a front cover beats any other, and the
// first of a kind beats later ones.
class Choice {
 public:
  void Offer(const TagLib::ByteVector& data, bool front) {
    if (data.isEmpty() || (has_ && (is_front_ || !front))) return;
    data_ = data;
    has_ = true;
    is_front_ = front;
  }
  const TagLib::ByteVector* Best() const { return has_ ? &data_ : nullptr; }

 private:
  TagLib::ByteVector data_;
  bool has_ = false;
  bool is_front_ = false;
};

void FromID3v2(TagLib::ID3v2::Tag* tag, Choice* choice) {
  if (tag == nullptr) return;
  for (TagLib::ID3v2::Frame* frame : tag->frameListMap()["APIC"])
    if (auto* apic = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(frame))
      choice->Offer(apic->picture(),
                    apic->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover);
}

void FromFlacPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures, Choice* choice) {
  for (const TagLib::FLAC::Picture* p : pictures)
    choice->Offer(p->data(), p->type() == TagLib::FLAC::Picture::FrontCover);
}

// An APE binary item is "<description>\0<image bytes>".
void FromApe(TagLib::APE::Tag* tag, Choice* choice) {
  if (tag == nullptr) return;
  for (const auto& item : tag->itemListMap()) {
    TagLib::String key = item.first.upper();
    if (!key.startsWith("COVER ART")) continue;
    TagLib::ByteVector value = item.second.binaryData();
    int nul = value.find('\0');
    if (nul < 0) continue;
    choice->Offer(value.mid(static_cast<unsigned>(nul) + 1), key == "COVER ART (FRONT)");
  }
}

void Collect(TagLib::File* file, Choice* choice) {
  if (auto* f = dynamic_cast<TagLib::MPEG::File*>(file)) {
    if (f->hasID3v2Tag()) FromID3v2(f->ID3v2Tag(), choice);
  } else if (auto* f = dynamic_cast<TagLib::FLAC::File*>(file)) {
    FromFlacPictures(f->pictureList(), choice);
    if (f->hasXiphComment()) FromFlacPictures(f->xiphComment()->pictureList(), choice);
  } else if (auto* f = dynamic_cast<TagLib::RIFF::WAV::File*>(file)) {
    if (f->hasID3v2Tag()) FromID3v2(f->ID3v2Tag(), choice);
  } else if (auto* f = dynamic_cast<TagLib::RIFF::AIFF::File*>(file)) {
    if (f->hasID3v2Tag()) FromID3v2(f->tag(), choice);
  } else if (auto* f = dynamic_cast<TagLib::WavPack::File*>(file)) {
    if (f->hasAPETag()) FromApe(f->APETag(), choice);
  } else if (auto* f = dynamic_cast<TagLib::APE::File*>(file)) {
    if (f->hasAPETag()) FromApe(f->APETag(), choice);
  } else if (auto* f = dynamic_cast<TagLib::Ogg::Vorbis::File*>(file)) {
    FromFlacPictures(f->tag()->pictureList(), choice);
  } else if (auto* f = dynamic_cast<TagLib::Ogg::Opus::File*>(file)) {
    FromFlacPictures(f->tag()->pictureList(), choice);
  } else if (auto* f = dynamic_cast<TagLib::MP4::File*>(file)) {
    // MP4 marks no kinds: the first picture is the cover.
    for (const TagLib::MP4::CoverArt& art : f->tag()->item("covr").toCoverArtList())
      choice->Offer(art.data(), false);
  } else if (auto* f = dynamic_cast<TagLib::ASF::File*>(file)) {
    for (const TagLib::ASF::Attribute& a : f->tag()->attribute("WM/Picture")) {
      TagLib::ASF::Picture p = a.toPicture();
      if (p.isValid()) choice->Offer(p.picture(), p.type() == TagLib::ASF::Picture::FrontCover);
    }
  }
}

}  // namespace

std::string ExtractEmbeddedCover(TagLib::File* file) {
  Choice choice;
  Collect(file, &choice);
  const TagLib::ByteVector* best = choice.Best();
  if (best == nullptr) return "";
  std::string name, error;
  if (!StoreEmbeddedCover(std::string_view(best->data(), best->size()), &name, &error)) {
    syslog(LOG_ERR, "index: cannot store a cover of %s: %s", static_cast<const char*>(file->name()),
           error.c_str());
    return "";
  }
  return name;
}

bool EmbeddedCoverRows::Prepare(sqlite::Database& db, std::string* error) {
  set_ = db.Prepare("INSERT OR REPLACE INTO song_cover(song_id, image) VALUES (?, ?)", error);
  clear_ = db.Prepare("DELETE FROM song_cover WHERE song_id = ?", error);
  return set_.IsValid() && clear_.IsValid();
}

bool EmbeddedCoverRows::Store(int64_t song_id, const std::string& image, std::string* error) {
  sqlite::Statement& st = image.empty() ? clear_ : set_;
  st.Bind(1, song_id);
  if (!image.empty()) st.Bind(2, image);
  return st.RunToEnd(error);
}

}  // namespace cantora
