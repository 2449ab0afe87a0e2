#include "platform/indexer/tag_bytes.h"

#include <taglib/apefooter.h>
#include <taglib/apetag.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4atom.h>
#include <taglib/oggfile.h>
#include <taglib/tbytevector.h>
#include <taglib/tbytevectorlist.h>
#include <taglib/unknownframe.h>

#include <algorithm>
#include <cstring>

namespace cantora {
namespace {

using TagLib::ByteVector;
using TagLib::ByteVectorList;

// A value's bytes up to its first NUL.
std::string ValueBytes(const ByteVector& v) {
  const char* data = v.data();
  size_t n = v.size();
  const void* nul = n == 0 ? nullptr : std::memchr(data, '\0', n);
  if (nul != nullptr) n = static_cast<const char*>(nul) - data;
  return std::string(data, n);
}

// ---- Vorbis comments ----

// A field name as TagLib accepts it: printable ASCII except '='; upper-cased
// as TagLib does (ASCII letters only).
bool CommentKey(const ByteVector& name, std::string* key) {
  if (name.isEmpty()) return false;
  key->clear();
  for (char c : name) {
    if (c < 0x20 || c > 0x7D || c == '=') return false;
    key->push_back(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
  }
  return true;
}

// The comment data: vendor string, field count, fields "NAME=value", each
// with its 32-bit little-endian length first.
bool ParseComment(const ByteVector& data, TagFields* fields) {
  if (data.size() < 8) return false;
  const unsigned size = data.size();
  unsigned pos = 0;
  const unsigned vendor = data.toUInt(pos, false);
  if (vendor > size - 8) return false;
  pos += 4 + vendor;
  const unsigned count = data.toUInt(pos, false);
  pos += 4;
  std::string key;
  for (unsigned i = 0; i < count && size - pos >= 4; ++i) {
    const unsigned length = data.toUInt(pos, false);
    pos += 4;
    if (length > size - pos) break;
    const ByteVector entry = data.mid(pos, length);
    pos += length;
    const int sep = entry.find('=');
    if (sep < 1 || !CommentKey(entry.mid(0, sep), &key)) continue;
    // Pictures are base64 in comments; they are not text.
    if (key == "METADATA_BLOCK_PICTURE" || key == "COVERART") continue;
    (*fields)[key].push_back(ValueBytes(entry.mid(sep + 1)));
  }
  return true;
}

constexpr char kFlacMarker[] = "fLaC";
constexpr int kFlacVorbisComment = 4;
constexpr unsigned char kFlacLastBlock = 0x80;

// The FLAC Vorbis comment block, found as TagLib finds it: after the stream
// marker (past an ID3v2 tag at the start), walking the block headers.
ByteVector FlacCommentBlock(TagLib::FLAC::File* file) {
  long start = 0;
  if (file->hasID3v2Tag()) start = static_cast<long>(file->ID3v2Tag()->header()->completeTagSize());
  long offset = file->find(kFlacMarker, start);
  if (offset < 0) return ByteVector();
  offset += 4;
  const long length = file->length();
  while (offset + 4 <= length) {
    file->seek(offset);
    const ByteVector header = file->readBlock(4);
    if (header.size() != 4) break;
    const int type = static_cast<unsigned char>(header[0]) & ~kFlacLastBlock;
    const unsigned size = header.toUInt(1U, 3U, true);
    if (type == kFlacVorbisComment) {
      ByteVector block = file->readBlock(size);
      return block.size() == size ? block : ByteVector();
    }
    if (static_cast<unsigned char>(header[0]) & kFlacLastBlock) break;
    offset += 4 + static_cast<long>(size);
  }
  return ByteVector();
}

// ---- APEv2 ----

// TagLib's own renaming of APE item keys to property names, for the keys
// read here.
const char* ApePropertyName(const std::string& key) {
  static const char* const kRenamed[][2] = {
      {"ALBUM ARTIST", "ALBUMARTIST"}, {"YEAR", "DATE"}, {"TRACK", "TRACKNUMBER"}, {"DISC", "DISCNUMBER"}};
  for (const auto& r : kRenamed)
    if (key == r[0]) return r[1];
  return nullptr;
}

// Item: value length and flags (32-bit little-endian), the key and a NUL,
// the value; a text item's values are separated by NULs.
void ParseApeItems(const ByteVector& data, unsigned count, TagFields* fields) {
  constexpr unsigned kTextType = 0;
  unsigned pos = 0;
  for (unsigned i = 0; i < count && data.size() - pos >= 11; ++i) {
    const unsigned length = data.toUInt(pos, false);
    const unsigned flags = data.toUInt(pos + 4, false);
    const int key_end = data.find('\0', pos + 8);
    if (key_end < 0 || length > data.size() - key_end - 1) break;
    const ByteVector value = data.mid(key_end + 1, length);
    std::string key(data.data() + pos + 8, key_end - pos - 8);
    pos = key_end + 1 + length;
    if (((flags >> 1) & 3) != kTextType || key.empty()) continue;
    for (char& c : key)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (const char* renamed = ApePropertyName(key)) key = renamed;
    // A later item of the same key replaces an earlier one, as in TagLib.
    std::vector<std::string>& values = (*fields)[key];
    values.clear();
    for (const ByteVector& part : ByteVectorList::split(value, ByteVector(1, '\0')))
      if (!part.isEmpty()) values.push_back(ValueBytes(part));
  }
}

// ---- MP4 ----

// The item atoms of the text read here, by TagLib's property name.
constexpr const char* kMp4Items[][2] = {
    {"\251nam", "TITLE"},   {"\251alb", "ALBUM"},    {"\251ART", "ARTIST"},
    {"aART", "ALBUMARTIST"}, {"\251gen", "GENRE"},    {"\251wrt", "COMPOSER"},
    {"\251cmt", "COMMENT"}, {"soar", "ARTISTSORT"}, {"\251day", "DATE"}};

// An item atom's "data" children: size and name, type flags (1 is UTF-8),
// a locale, the value (TagLib's own reading of text items).
void Mp4TextValues(const ByteVector& data, std::vector<std::string>* values) {
  constexpr unsigned kUtf8Type = 1;
  unsigned pos = 0;
  while (data.size() - pos >= 16) {
    const unsigned length = data.toUInt(pos);
    if (length < 16 || length > data.size() - pos) break;
    if (data.mid(pos + 4, 4) == "data" && (data.toUInt(pos + 8) & 0xffffff) == kUtf8Type)
      values->push_back(ValueBytes(data.mid(pos + 16, length - 16)));
    pos += length;
  }
}

// ---- ID3v2 ----

// The frame header type is a protected member of ID3v2::Frame, which only
// TagLib's own factory may name; a derived factory takes it from the
// parameter of the hook it overrides.
class FactoryHook : public TagLib::ID3v2::FrameFactory {
 protected:
  template <typename T>
  struct Param;
  template <typename R, typename C, typename A>
  struct Param<R (C::*)(A) const> {
    using type = A;
  };
  using HeaderPointer = Param<decltype(&FactoryHook::updateFrame)>::type;
};

// A frame factory that leaves the frames of interest unparsed: TagLib then
// keeps them as unknown frames holding their field data (de-synchronised,
// decompressed, without the data length indicator) byte for byte.
class RawFrames : public FactoryHook {
 public:
  explicit RawFrames(const std::vector<std::string>& ids) : ids_(ids) {}

 protected:
  bool updateFrame(HeaderPointer header) const override {
    if (!FrameFactory::updateFrame(header)) return false;
    const ByteVector id = header->frameID();
    const std::string name(id.data(), id.size());
    return std::find(ids_.begin(), ids_.end(), name) == ids_.end();
  }

 private:
  const std::vector<std::string>& ids_;
};

// The ID3v2 encoding byte of UTF-8.
constexpr char kID3v2Utf8 = 3;

// A text frame's values: after the encoding byte, NUL-separated, trailing
// NULs dropped (TextIdentificationFrame's own reading).
void TextValues(const ByteVector& data, std::vector<std::string>* values) {
  int end = static_cast<int>(data.size()) - 1;
  while (end > 0 && data[end] == 0) --end;
  const ByteVectorList parts = ByteVectorList::split(data.mid(1, end), ByteVector(1, '\0'));
  for (const ByteVector& part : parts)
    if (!part.isEmpty()) values->push_back(ValueBytes(part));
}

// A COMM frame: encoding, language (3 bytes), description, NUL, text.
void CommentValue(const ByteVector& data, std::vector<std::string>* values) {
  if (data.size() < 5) return;
  const ByteVectorList parts = ByteVectorList::split(data.mid(4), ByteVector(1, '\0'), 1, 2);
  if (parts.size() != 2 || !parts.front().isEmpty()) return;
  std::string text = ValueBytes(parts.back());
  if (!text.empty()) values->push_back(std::move(text));
}

}  // namespace

bool ReadFlacCommentBytes(TagLib::FLAC::File* file, TagFields* fields) {
  if (!file->hasXiphComment()) return false;
  return ParseComment(FlacCommentBlock(file), fields);
}

bool ReadOggCommentBytes(TagLib::Ogg::File* file, TagFields* fields) {
  // The second packet is the comment header; Vorbis and Opus put a marker
  // before the comment data, Speex none.
  ByteVector packet = file->packet(1);
  const ByteVector kVorbis("\x03vorbis", 7);
  const ByteVector kOpus("OpusTags", 8);
  if (packet.startsWith(kVorbis))
    packet = packet.mid(kVorbis.size());
  else if (packet.startsWith(kOpus))
    packet = packet.mid(kOpus.size());
  return ParseComment(packet, fields);
}

bool ReadApeTextBytes(TagLib::File* file, bool has_id3v1, TagFields* fields) {
  constexpr long kID3v1Size = 128;
  const long footer_at =
      file->length() - (has_id3v1 ? kID3v1Size : 0) - static_cast<long>(TagLib::APE::Footer::size());
  if (footer_at < 0) return false;
  file->seek(footer_at);
  const ByteVector footer_data = file->readBlock(TagLib::APE::Footer::size());
  if (!footer_data.startsWith(TagLib::APE::Tag::fileIdentifier())) return false;
  const TagLib::APE::Footer footer(footer_data);
  const long items_size = static_cast<long>(footer.tagSize()) - TagLib::APE::Footer::size();
  if (items_size < 0 || items_size > footer_at) return false;
  file->seek(footer_at - items_size);
  const ByteVector items = file->readBlock(static_cast<unsigned long>(items_size));
  if (static_cast<long>(items.size()) != items_size) return false;
  ParseApeItems(items, footer.itemCount(), fields);
  return true;
}

bool ReadMp4TextBytes(TagLib::File* file, TagFields* fields) {
  TagLib::MP4::Atoms atoms(file);
  TagLib::MP4::Atom* list = atoms.find("moov", "udta", "meta", "ilst");
  if (list == nullptr) return false;
  for (TagLib::MP4::Atom* item : list->children) {
    for (const auto& known : kMp4Items) {
      if (item->name != known[0] || item->length < 8) continue;
      file->seek(item->offset + 8);
      std::vector<std::string>& values = (*fields)[known[1]];
      values.clear();
      Mp4TextValues(file->readBlock(static_cast<unsigned long>(item->length - 8)), &values);
    }
  }
  return true;
}

bool ReadID3v2Utf8Frames(TagLib::File* file, long offset, const std::vector<std::string>& ids,
                         TagFields* frames) {
  if (offset < 0) return false;
  RawFrames factory(ids);
  TagLib::ID3v2::Tag tag(file, offset, &factory);
  if (tag.header()->majorVersion() < 2) return false;
  for (TagLib::ID3v2::Frame* frame : tag.frameList()) {
    auto* raw = dynamic_cast<TagLib::ID3v2::UnknownFrame*>(frame);
    if (raw == nullptr) continue;
    const ByteVector data = raw->data();
    if (data.isEmpty() || data[0] != kID3v2Utf8) continue;
    const ByteVector id = frame->frameID();
    std::vector<std::string>& values = (*frames)[std::string(id.data(), id.size())];
    if (id == "COMM")
      CommentValue(data, &values);
    else
      TextValues(data, &values);
  }
  return true;
}

}  // namespace cantora
