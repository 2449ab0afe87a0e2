// The gateway's request-long allocator (region_new.cpp), for the entry point.
#ifndef CANTORA_ENUMERATE_REGION_NEW_H
#define CANTORA_ENUMERATE_REGION_NEW_H

// From now on C++ objects come from malloc and are freed by delete, as a
// process that answers many requests needs; objects the region already
// holds stay where they are. False when the region's blocks were not all
// recorded (the process must then not serve more than one request).
// A build without the region (sanitizers) has the general heap already.
bool KeepObjectsInTheGeneralHeap();

#endif
