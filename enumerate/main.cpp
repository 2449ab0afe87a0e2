// enumerate.cgi: the browsing gateway, started once per request.
//
// Installed setuid root: the effective ids are dropped to the caller's (the
// web server's user) before anything else, and only the IF_RUN_AS scopes
// raise them again. The exit status is 0 whatever happened; the answer, or
// its absence, is what the client sees.
#include "enumerate/enumerate.h"
#include "enumerate/guard/run_as.h"
#include "enumerate/huge_heap.h"

int main() {
  if (!DropToRealIds()) return 0;
  UseHugePagesForTheHeap();
  EnumerationHandler handler;
  handler.Run();
  return 0;
}
