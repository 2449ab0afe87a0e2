// stream.cgi: one song's audio, started once per request.
//
// Installed setuid root like enumerate.cgi: the effective ids are dropped to
// the caller's (the web server's user) before anything else, and only the
// IF_RUN_AS scope that opens the song raises them again.
#include "enumerate/guard/run_as.h"
#include "stream/stream_handler.h"

int main() {
  if (!DropToRealIds()) return 0;
  StreamHandler handler;
  handler.Run();
  return 0;
}
