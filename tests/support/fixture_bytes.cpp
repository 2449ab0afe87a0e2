#include "tests/support/fixture_bytes.h"

#include <taglib/tbytevector.h>

#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "platform/text/utf8.h"

namespace fixture {
namespace {

constexpr size_t kShortest = 6;

// Distinct ASCII text of length n for the field numbered k: "{k}" and then
// letters, unlikely anywhere else in a file.
std::string StandIn(size_t k, size_t n) {
  std::string s = "{" + std::to_string(k) + "}";
  while (s.size() < n) s.push_back(static_cast<char>('a' + (s.size() * 7 + k) % 26));
  return s.substr(0, n);
}

bool ReadFile(const std::string& path, std::string* data) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream s;
  s << in.rdbuf();
  *data = s.str();
  return true;
}

bool WriteFile(const std::string& path, const std::string& data) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(data.data(), static_cast<std::streamsize>(data.size()));
  return static_cast<bool>(out.flush());
}

bool IsOgg(const std::string& data) { return data.compare(0, 4, "OggS") == 0; }

// Computes again the checksum of the Ogg page that holds the byte at offset:
// CRC-32 (polynomial 0x04c11db7, TagLib's ByteVector::checksum) of the page
// with its checksum field zeroed, stored little-endian at byte 22.
bool FixOggPage(std::string* data, size_t offset) {
  size_t page = data->rfind("OggS", offset);
  while (page != std::string::npos) {
    if (page + 27 > data->size()) return false;
    const size_t segments = static_cast<unsigned char>((*data)[page + 26]);
    size_t size = 27 + segments;
    if (page + size > data->size()) return false;
    for (size_t i = 0; i < segments; ++i) size += static_cast<unsigned char>((*data)[page + 27 + i]);
    if (offset < page + size) {
      for (int i = 0; i < 4; ++i) (*data)[page + 22 + i] = '\0';
      TagLib::ByteVector bytes(data->data() + page, static_cast<unsigned int>(size));
      const unsigned crc = bytes.checksum();
      for (int i = 0; i < 4; ++i) (*data)[page + 22 + i] = static_cast<char>((crc >> (8 * i)) & 0xff);
      return true;
    }
    if (page == 0) break;
    page = data->rfind("OggS", page - 1);
  }
  return false;
}

}  // namespace

bool MakeSongWithRawBytes(const std::string& root, const Song& song, std::string* error) {
  Song written = song;
  std::string* const fields[] = {&written.title,    &written.album,   &written.artist,
                                 &written.album_artist, &written.genre, &written.composer,
                                 &written.comment,  &written.artist_sort};
  std::vector<std::pair<std::string, std::string>> patches;  // (stand-in, bytes)
  for (size_t k = 0; k < sizeof fields / sizeof fields[0]; ++k) {
    std::string& field = *fields[k];
    if (TryUTF8ToUTF16(field.c_str())) continue;
    if (field.size() < kShortest) {
      *error = "raw text shorter than " + std::to_string(kShortest) + " bytes";
      return false;
    }
    patches.emplace_back(StandIn(k, field.size()), field);
    field = patches.back().first;
  }
  if (!MakeSong(root, written, error)) return false;
  const std::string path = root + "/" + song.file;
  std::string data;
  if (!ReadFile(path, &data)) {
    *error = "cannot read " + path;
    return false;
  }
  for (const auto& patch : patches) {
    const size_t at = data.find(patch.first);
    if (at == std::string::npos || data.find(patch.first, at + 1) != std::string::npos) {
      *error = "stand-in text not found once in " + path;
      return false;
    }
    data.replace(at, patch.second.size(), patch.second);
    if (IsOgg(data) && !FixOggPage(&data, at)) {
      *error = "no Ogg page around the patched bytes of " + path;
      return false;
    }
  }
  if (!WriteFile(path, data)) {
    *error = "cannot write " + path;
    return false;
  }
  return true;
}

}  // namespace fixture
