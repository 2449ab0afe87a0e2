// The parameters of one stream request, checked before anything is looked
// up: a request that fails here answers 400 and costs nothing more.
//
//   id       the song's id as the gateway answers it: decimal digits, or the
//            personal prefix and digits (the user's own personal library)
//   format   mp3 | opus | aac: transcode to that format
//   bitrate  kbit/s of a transcode, a whole number from 8; above the
//            configured largest it is lowered to it
//   offset   seconds into the song where a transcode starts (a decimal
//            number, 0 to 10^7)
//
// Any of format, bitrate and an offset above 0 asks for a transcode.
#ifndef CANTORA_STREAM_STREAM_REQUEST_H
#define CANTORA_STREAM_STREAM_REQUEST_H

#include <cstdint>
#include <string>

#include "platform/cgi/webman.h"

namespace cantora {

enum class TranscodeFormat { kMp3, kOpus, kAac };

struct StreamRequest {
  int64_t id = 0;
  bool personal = false;
  bool transcode = false;  // asked for by the client
  TranscodeFormat format = TranscodeFormat::kMp3;
  long bitrate = 0;  // kbit/s
  double offset = 0;
};

// False when a parameter is missing or malformed.
bool ParseStreamRequest(const WebMan& web, long default_bitrate, long max_bitrate,
                        StreamRequest* request);

}  // namespace cantora

#endif
