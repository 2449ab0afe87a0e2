// StreamHandler: stream.cgi's request, one song's audio.
//
// Signed in as enumerate.cgi is (the cookie "id", else "_sid"); otherwise
// the answer is "Status: 403 Forbidden" alone. The song is a row of the
// index in the user's scope, its file opened beneath its library's root
// under the privilege guard; an unknown id, another user's personal song
// and a file that is gone (or leads out of its library) all answer the same
// bare 404. The file is then sent as it is (send_file.cpp: ranges,
// validators, X-Sendfile) or transcoded (transcode.cpp).
#ifndef CANTORA_STREAM_STREAM_HANDLER_H
#define CANTORA_STREAM_STREAM_HANDLER_H

#include <sys/stat.h>

#include <string>

#include "platform/cgi/server_form_handler.h"
#include "platform/media/stream/audio_format.h"
#include "stream/stream_request.h"

// Source name of the stream's log lines and guard.
extern const char* const kStreamSource;

class StreamHandler : public ServerFormHandler {
 public:
  StreamHandler();
  void Run() override;

 private:
  // The song's file, opened for reading, and in *shared whether it lies in
  // a shared library; -1 (logged) when it is none of the user's, or gone.
  int OpenSong(const cantora::StreamRequest& request, int uid, bool* shared);
  // may_hand_over: the web server may be given the file's path (X-Sendfile).
  void SendAsItIs(int fd, const struct stat& st, const char* type, bool may_hand_over);
  void Transcode(int fd, const cantora::StreamRequest& request, const char* source_name);
  // "Status: <status>" and any extra lines, then the blank line.
  void BareStatus(const char* status, const std::string& extra = "");

  bool head_ = false;
};

#endif
