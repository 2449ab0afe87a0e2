#include "platform/media/stream/audio_format.h"

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace cantora {
namespace {

constexpr size_t kHeadBytes = 4096;
// An MP4 file's track list is read whole up to this size; larger ones (a
// long chapter list, hours of sample tables) are transcoded.
constexpr uint64_t kLargestMovieBox = 16 << 20;

uint32_t Be32(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}
uint64_t Be64(const unsigned char* p) { return static_cast<uint64_t>(Be32(p)) << 32 | Be32(p + 4); }
unsigned Le16(const unsigned char* p) { return p[0] | p[1] << 8; }
uint32_t Le32(const unsigned char* p) {
  return p[0] | p[1] << 8 | static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

bool Starts(const std::string& head, size_t at, const char* magic, size_t length) {
  return head.size() >= at + length && std::memcmp(head.data() + at, magic, length) == 0;
}

std::string ReadAt(int fd, uint64_t offset, size_t length) {
  std::string bytes(length, '\0');
  size_t got = 0;
  while (got < length) {
    ssize_t n = pread(fd, &bytes[got], length - got, static_cast<off_t>(offset + got));
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  bytes.resize(got);
  return bytes;
}

AudioFormat Playable(const char* type, const char* name) { return {type, name}; }
AudioFormat Transcoded(const char* name) { return {nullptr, name}; }

AudioFormat OggFormat(const std::string& head) {
  // The first page holds the codec's identification packet alone.
  if (head.size() < 27) return Transcoded("ogg");
  size_t packet = 27 + static_cast<unsigned char>(head[26]);
  if (Starts(head, packet, "\x01vorbis", 7)) return Playable("audio/ogg", "vorbis");
  if (Starts(head, packet, "OpusHead", 8)) return Playable("audio/ogg", "opus");
  if (Starts(head, packet, "\x7f" "FLAC", 5)) return Playable("audio/ogg", "ogg-flac");
  return Transcoded("ogg-other");
}

AudioFormat WaveFormat(const std::string& head) {
  size_t at = 12;
  while (at + 8 <= head.size()) {
    const auto* chunk = reinterpret_cast<const unsigned char*>(head.data() + at);
    uint32_t size = Le32(chunk + 4);
    if (std::memcmp(chunk, "fmt ", 4) == 0) {
      if (at + 10 > head.size()) break;
      unsigned tag = Le16(chunk + 8);
      // WAVE_FORMAT_EXTENSIBLE names its codec in the sub-format's first bytes.
      if (tag == 0xFFFE && at + 8 + 26 <= head.size()) tag = Le16(chunk + 8 + 24);
      if (tag == 1 || tag == 3) return Playable("audio/wav", "wav");
      break;
    }
    at += 8 + static_cast<size_t>(size) + (size & 1);
  }
  return Transcoded("wav-other");
}

// The sample entries of an MP4 file's tracks: AAC plays, anything else
// (Apple Lossless above all) is transcoded.
AudioFormat Mp4Format(int fd) {
  uint64_t at = 0;
  for (int boxes = 0; boxes < 64; ++boxes) {
    std::string header = ReadAt(fd, at, 16);
    if (header.size() < 8) break;
    const auto* h = reinterpret_cast<const unsigned char*>(header.data());
    uint64_t size = Be32(h), body = 8;
    if (size == 1 && header.size() == 16) {
      size = Be64(h + 8);
      body = 16;
    }
    if (size < body) break;
    if (std::memcmp(h + 4, "moov", 4) == 0) {
      if (size > kLargestMovieBox) break;
      std::string movie = ReadAt(fd, at, static_cast<size_t>(size));
      bool aac = false;
      for (size_t p = movie.find("stsd"); p != std::string::npos; p = movie.find("stsd", p + 4)) {
        if (p + 20 > movie.size()) break;
        if (movie.compare(p + 16, 4, "mp4a") == 0) aac = true;
        if (movie.compare(p + 16, 4, "alac") == 0) return Transcoded("alac");
      }
      return aac ? Playable("audio/mp4", "aac") : Transcoded("mp4-other");
    }
    at += size;
  }
  return Transcoded("mp4-other");
}

}  // namespace

AudioFormat SniffAudioFormat(int fd) {
  uint64_t base = 0;
  std::string head = ReadAt(fd, 0, kHeadBytes);
  // ID3v2 tags in front of the audio (MP3, but taggers put them before
  // FLAC and others too): the audio starts after them.
  for (int tags = 0; tags < 4 && Starts(head, 0, "ID3", 3) && head.size() >= 10; ++tags) {
    const auto* h = reinterpret_cast<const unsigned char*>(head.data());
    uint64_t size = (h[6] & 0x7f) << 21 | (h[7] & 0x7f) << 14 | (h[8] & 0x7f) << 7 | (h[9] & 0x7f);
    base += 10 + size + ((h[5] & 0x10) != 0 ? 10 : 0);
    head = ReadAt(fd, base, kHeadBytes);
  }
  const auto* h = reinterpret_cast<const unsigned char*>(head.data());
  const size_t n = head.size();
  if (Starts(head, 0, "fLaC", 4)) return Playable("audio/flac", "flac");
  if (Starts(head, 0, "OggS", 4)) return OggFormat(head);
  if (Starts(head, 0, "RIFF", 4) && Starts(head, 8, "WAVE", 4)) return WaveFormat(head);
  if (Starts(head, 4, "ftyp", 4)) return Mp4Format(fd);
  if (Starts(head, 0, "\x1a\x45\xdf\xa3", 4))
    return head.substr(0, 64).find("webm") != std::string::npos ? Playable("audio/webm", "webm")
                                                                 : Transcoded("matroska");
  if (Starts(head, 0, "\x30\x26\xb2\x75\x8e\x66\xcf\x11", 8)) return Transcoded("wma");
  if (Starts(head, 0, "FORM", 4)) return Transcoded("aiff");
  if (Starts(head, 0, "MAC ", 4)) return Transcoded("ape");
  if (Starts(head, 0, "wvpk", 4)) return Transcoded("wavpack");
  if (Starts(head, 0, "MPCK", 4) || Starts(head, 0, "MP+", 3)) return Transcoded("musepack");
  if (Starts(head, 0, "TTA1", 4)) return Transcoded("tta");
  if (Starts(head, 0, "DSD ", 4) || Starts(head, 0, "FRM8", 4)) return Transcoded("dsd");
  if (n >= 2 && h[0] == 0xFF && (h[1] & 0xE0) == 0xE0) {
    // MPEG audio frame sync; layer bits 00 mark AAC in ADTS framing.
    if ((h[1] & 0x06) == 0) return Playable("audio/aac", "aac");
    return Playable("audio/mpeg", "mp3");
  }
  return Transcoded("unknown");
}

}  // namespace cantora
