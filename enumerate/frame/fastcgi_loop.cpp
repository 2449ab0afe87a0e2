#include "enumerate/frame/fastcgi_loop.h"

#include <signal.h>
#include <syslog.h>

#include <cstdio>

#include "enumerate/frame/process_ids.h"
#include "platform/cgi/request_source.h"

namespace {

// A client that leaves makes the next write fail instead of ending the
// process (and every request it would still answer). A handler rather than
// SIG_IGN: helpers started later get the default action back at exec.
void NoteBrokenPipe(int) {}

void AnswerBrokenPipesWithErrors() {
  struct sigaction action {};
  action.sa_handler = NoteBrokenPipe;
  sigemptyset(&action.sa_mask);
  sigaction(SIGPIPE, &action, nullptr);
}

}  // namespace

int ServeFastCgi(const fcgi::Listener& listener, AnswerRequest answer) {
  AnswerBrokenPipesWithErrors();
  const ProcessIds between_requests = ProcessIds::Now();
  fcgi::Request request(listener);
  while (request.Accept()) {
    {
      cantora::RequestSource source;
      source.params = request.Params();
      source.in = request.In();
      source.out = request.Out();
      cantora::RequestSourceScope scope(source);
      answer();
    }
    request.Finish();
    const ProcessIds now = ProcessIds::Now();
    if (now != between_requests) {
      syslog(LOG_AUTH | LOG_CRIT, "enumerate.cgi: ids after a request are %s, not %s; ending",
             now.Text().c_str(), between_requests.Text().c_str());
      return 1;
    }
  }
  return 0;
}
