// The platform string list: a growable list of owned, NUL-terminated strings.
//
// A list is made by VLIBCSzListAlloc and released by VLIBCSzListFree; every
// string in it is a private copy that lives as long as the list (or until the
// list is sorted, which only reorders). Functions that can fail return a
// negative value and leave the list as it was; no function throws.
#ifndef CANTORA_PLATFORM_TEXT_SZLIST_H
#define CANTORA_PLATFORM_TEXT_SZLIST_H

#include <cstddef>

struct VLIBCSzList;

// Sort orders of VLIBCSzListSortItems: byte-wise (strcmp) order.
constexpr int kSzListSortDescending = 0;
constexpr int kSzListSortAscending = 1;

// A new empty list with room for capacity_hint strings before it first grows
// (0 is allowed). Null when memory is short.
VLIBCSzList* VLIBCSzListAlloc(size_t capacity_hint);

// Releases the list and every string in it. Null is allowed.
void VLIBCSzListFree(VLIBCSzList* list);

// Appends a copy of text (which must not be null). Returns the new count, or
// -1 when memory is short.
int VLIBCSzListAdd(VLIBCSzList* list, const char* text);

// Splits text at every character of separators and appends the pieces in
// order. Empty pieces (separators side by side, or at either end) are
// skipped, so "", "," and ",," add nothing. Returns the number of pieces
// appended, or -1 (nothing appended) on a null argument or short memory.
int VLIBCStrSep(const char* text, const char* separators, VLIBCSzList* list);

// Sorts the strings by strcmp, kSzListSortAscending or kSzListSortDescending;
// equal strings keep their relative order. Returns 0, or -1 on a null list or
// an unknown order.
int VLIBCSzListSortItems(VLIBCSzList* list, int order);

// Number of strings in the list (0 for null).
size_t VLIBCSzListCount(const VLIBCSzList* list);

// The string at index, or null when index is not below the count. The pointer
// stays valid until the list is freed.
const char* VLIBCSzListGet(const VLIBCSzList* list, size_t index);

#endif
