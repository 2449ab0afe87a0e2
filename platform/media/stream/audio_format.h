// What a song file holds, told from its bytes (never from its name), and
// whether a browser plays it as it is.
//
// Sent as they are: MP3, AAC (ADTS, or in MP4), FLAC, Ogg Vorbis, Ogg Opus,
// Ogg FLAC, WAV holding PCM or float samples, WebM. Every current browser's
// audio element decodes those. Everything else is transcoded: WMA (ASF),
// Monkey's Audio, WavPack, Musepack, TTA, AIFF, DSD (DSF, DFF), Apple
// Lossless and other codecs in MP4, Ogg Speex, Matroska, WAV of other
// codecs, and bytes that match nothing here.
#ifndef CANTORA_PLATFORM_MEDIA_STREAM_AUDIO_FORMAT_H
#define CANTORA_PLATFORM_MEDIA_STREAM_AUDIO_FORMAT_H

namespace cantora {

struct AudioFormat {
  // The MIME type of the file as it is; null when it must be transcoded.
  const char* playable_type = nullptr;
  // A short name for logs ("mp3", "alac", "unknown", ...).
  const char* name = "unknown";
};

// Reads what it needs of the file open at fd (by pread; the offset is left
// alone).
AudioFormat SniffAudioFormat(int fd);

}  // namespace cantora

#endif
