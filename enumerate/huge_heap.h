// The gateway's malloc heap settings (huge_heap.cpp), called first thing in
// main(), before a request allocates anything large.
//
// For a process that answers one request: the rest of its heap on huge pages.
#ifndef CANTORA_ENUMERATE_HUGE_HEAP_H
#define CANTORA_ENUMERATE_HUGE_HEAP_H

void UseHugePagesForTheHeap();

// For a process that answers many requests: the heap is never trimmed, and
// blocks up to 32 MiB come from it rather than from mappings of their own,
// so that the pages one request faulted in serve the next ones instead of
// being given back and faulted in (and zeroed) again. Small pages: a huge
// page would hold 2 MiB for an idle process that needs a few hundred KiB.
// What the process keeps is bounded by its largest request.
void KeepHeapPagesBetweenRequests();

#endif
