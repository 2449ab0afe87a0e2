// A song transcoded on the fly: ffmpeg, started without a shell as the web
// server's user, reads the file through the descriptor opened under the
// guard and writes the new stream into a pipe that is copied to the client
// as it comes. The client leaving (a write that fails) ends ffmpeg at once;
// the CGI ending in any other way ends it too (the child's parent-death
// signal).
#include <fcntl.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/config/config.h"
#include "platform/io/unique_fd.h"
#include "platform/media/stream/transcode_slots.h"
#include "platform/process/streaming_child.h"
#include "stream/stream_handler.h"

namespace {

constexpr const char* kRetryAfterSeconds = "5";

struct Output {
  const char* codec;
  const char* muxer;
  const char* type;
};

Output OutputOf(cantora::TranscodeFormat format) {
  switch (format) {
    case cantora::TranscodeFormat::kOpus: return {"libopus", "ogg", "audio/ogg"};
    case cantora::TranscodeFormat::kAac: return {"aac", "adts", "audio/aac"};
    case cantora::TranscodeFormat::kMp3: break;
  }
  return {"libmp3lame", "mp3", "audio/mpeg"};
}

// ffmpeg reads its stdin, the song's descriptor. By the path of that
// descriptor it may seek (an offset, an MP4 whose index is at its end);
// that reopening needs the file to be readable by the web server's user,
// so without it the descriptor is read as a pipe, from the start.
std::string InputOf(int fd) {
  int probe = open(("/proc/self/fd/" + std::to_string(fd)).c_str(), O_RDONLY | O_CLOEXEC);
  if (probe < 0) return "pipe:0";
  close(probe);
  return "file:/proc/self/fd/0";
}

std::vector<std::string> Arguments(const cantora::StreamRequest& request, const Output& output,
                                   const std::string& input) {
  std::vector<std::string> args = {"-hide_banner", "-nostats", "-loglevel", "error",
                                   "-threads", "1"};
  if (request.offset > 0) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f", request.offset);
    args.insert(args.end(), {"-ss", seconds});
  }
  args.insert(args.end(), {"-i", input, "-map", "0:a:0", "-vn", "-sn", "-dn", "-map_metadata", "-1",
                           "-c:a", output.codec, "-b:a", std::to_string(request.bitrate) + "k",
                           "-flush_packets", "1"});
  // An MP3 stream cannot go back to fill in a Xing frame's counts; a frame
  // of zeros would give players a wrong duration.
  if (std::string(output.muxer) == "mp3") args.insert(args.end(), {"-write_xing", "0"});
  args.insert(args.end(), {"-f", output.muxer, "pipe:1"});
  return args;
}

// Set when the web server asks the CGI to end (lighttpd sends SIGTERM when
// its client has gone): the transcoder is then killed and reaped here,
// rather than left to its parent-death signal and to whoever adopts it.
volatile sig_atomic_t asked_to_end = 0;

void OnTerminate(int) { asked_to_end = 1; }

}  // namespace

void StreamHandler::Transcode(int fd, const cantora::StreamRequest& request, const char* source_name) {
  const cantora::Config& config = cantora::GetConfig();
  const Output output = OutputOf(request.format);
  const std::string header = std::string("Content-Type: ") + output.type +
                             "\r\nAccept-Ranges: none\r\nCache-Control: no-store\r\n\r\n";
  FILE* out = web_.Output();
  if (head_) {
    std::fputs(header.c_str(), out);
    std::fflush(out);
    return;
  }
  cantora::TranscodeSlot slot;
  if (!slot.Take(config.cache + "/transcode", config.transcode_slots)) {
    syslog(LOG_WARNING, "%s:%d all %ld transcode slots are taken", kStreamSource, __LINE__,
           config.transcode_slots);
    BareStatus("503 Service Unavailable", std::string("Retry-After: ") + kRetryAfterSeconds + "\r\n");
    return;
  }
  // A client that leaves makes the next write fail instead of killing us
  // before the transcoder is ended; so does the web server's SIGTERM, which
  // interrupts a blocked read or write (no SA_RESTART).
  signal(SIGPIPE, SIG_IGN);
  struct sigaction terminate {};
  terminate.sa_handler = OnTerminate;
  sigemptyset(&terminate.sa_mask);
  sigaction(SIGTERM, &terminate, nullptr);
  cantora::StreamingChild ffmpeg;
  if (!ffmpeg.Start(config.ffmpeg, Arguments(request, output, InputOf(fd)), fd, kStreamSource)) {
    BareStatus("500 Internal Server Error");
    return;
  }
  static char buffer[1 << 16];
  // The header goes with the first bytes, so that a song ffmpeg cannot read
  // still gets a status that says so.
  ssize_t n = cantora::ReadSome(ffmpeg.output(), buffer, sizeof buffer, &asked_to_end);
  if (asked_to_end) return;  // the child is killed and reaped on the way out
  if (n <= 0) {
    int status = ffmpeg.Wait();
    syslog(LOG_ERR, "%s:%d transcoding a %s file gave nothing (ffmpeg status %d)", kStreamSource,
           __LINE__, source_name, status);
    BareStatus("500 Internal Server Error");
    return;
  }
  std::fputs(header.c_str(), out);
  std::fflush(out);
  const int client = fileno(out);
  while (n > 0) {
    // False when the client is gone or the CGI is asked to end.
    if (!cantora::WriteAll(client, buffer, static_cast<size_t>(n), &asked_to_end)) {
      ffmpeg.Kill();
      return;
    }
    n = cantora::ReadSome(ffmpeg.output(), buffer, sizeof buffer, &asked_to_end);
  }
  if (asked_to_end) {
    ffmpeg.Kill();
    return;
  }
  ffmpeg.Wait();
}
