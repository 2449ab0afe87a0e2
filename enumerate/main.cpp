// enumerate.cgi: the browsing gateway.
//
// Installed setuid root: the effective ids are dropped to the caller's (the
// web server's user) before anything else, and only the IF_RUN_AS scopes
// raise them again. The exit status is 0 whatever happened; the answer, or
// its absence, is what the client sees.
//
// Started as a CGI it answers its one request. Started by the web server as
// a FastCGI application (a listening socket as its stdin), it stays and
// answers request after request, each with a handler of its own made,
// run and destroyed exactly as here (frame/fastcgi_loop.h).
#include "enumerate/enumerate.h"
#include "enumerate/frame/fastcgi_loop.h"
#include "enumerate/guard/run_as.h"
#include "enumerate/huge_heap.h"
#include "enumerate/shared_name_lists.h"
#include "enumerate/region_new.h"
#include "platform/index/media_info.h"

namespace {

// Enough for the records of a song list held whole (the 5,000 songs of one
// artist); a longer list is read in batches of small blocks.
constexpr int kKeptRecordBlocks = 2;

void AnswerOneRequest() {
  EnumerationHandler handler;
  handler.Run();
}

// One request of many: what the last one left is checked and released
// before the next begins (enumerate.h, BeginRequest and EndOfRequest).
void AnswerResidentRequest() {
  BeginRequest();
  AnswerOneRequest();
  EndOfRequest();
}

}  // namespace

int main() {
  if (!DropToRealIds()) return 0;
  std::unique_ptr<fcgi::Listener> listener = fcgi::Listener::Open();
  if (listener == nullptr) {
    UseHugePagesForTheHeap();
    AnswerOneRequest();
    return 0;
  }
  // A resident process frees what each request made (C++ objects from the
  // general heap), but keeps the pages: its heap is never trimmed, and the
  // record blocks of long lists are kept for the next list, so that a
  // request reuses memory the last ones faulted in instead of faulting and
  // zeroing it afresh. What it holds is bounded by its largest request, not
  // by how many it answered.
#ifndef CANTORA_NO_REGION
  if (!KeepObjectsInTheGeneralHeap()) return 1;
#endif
  KeepHeapPagesBetweenRequests();
  cantora::KeepFreedRecordBlocks(kKeptRecordBlocks);
  KeepSharedNameLists();
  return ServeFastCgi(*listener, AnswerResidentRequest);
}
