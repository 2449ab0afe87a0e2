// Puts the rest of the process's malloc heap on huge pages (huge_heap.cpp).
// Called first thing in main(), before the request allocates anything large.
#ifndef CANTORA_ENUMERATE_HUGE_HEAP_H
#define CANTORA_ENUMERATE_HUGE_HEAP_H

void UseHugePagesForTheHeap();

#endif
