#include "platform/text/szlist.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

struct VLIBCSzList {
  // unique_ptr keeps each string's address stable while the vector grows or
  // is sorted, so pointers handed out by VLIBCSzListGet stay valid.
  std::vector<std::unique_ptr<std::string>> items;
};

VLIBCSzList* VLIBCSzListAlloc(size_t capacity_hint) {
  VLIBCSzList* list = new (std::nothrow) VLIBCSzList;
  if (list == nullptr) return nullptr;
  try {
    list->items.reserve(capacity_hint);
  } catch (const std::exception&) {
    delete list;
    return nullptr;
  }
  return list;
}

void VLIBCSzListFree(VLIBCSzList* list) { delete list; }

int VLIBCSzListAdd(VLIBCSzList* list, const char* text) {
  if (list == nullptr || text == nullptr) return -1;
  try {
    list->items.push_back(std::make_unique<std::string>(text));
  } catch (const std::exception&) {
    return -1;
  }
  return static_cast<int>(list->items.size());
}

int VLIBCStrSep(const char* text, const char* separators, VLIBCSzList* list) {
  if (text == nullptr || separators == nullptr || list == nullptr) return -1;
  std::vector<std::unique_ptr<std::string>> pieces;
  try {
    const char* p = text;
    while (*p != '\0') {
      size_t n = std::strcspn(p, separators);
      if (n > 0) pieces.push_back(std::make_unique<std::string>(p, n));
      p += n;
      if (*p != '\0') ++p;
    }
    list->items.reserve(list->items.size() + pieces.size());
  } catch (const std::exception&) {
    return -1;
  }
  // Cannot throw after the reserve above: all or nothing.
  for (auto& piece : pieces) list->items.push_back(std::move(piece));
  return static_cast<int>(pieces.size());
}

int VLIBCSzListSortItems(VLIBCSzList* list, int order) {
  if (list == nullptr) return -1;
  if (order != kSzListSortAscending && order != kSzListSortDescending) return -1;
  const bool ascending = order == kSzListSortAscending;
  std::stable_sort(list->items.begin(), list->items.end(),
                   [ascending](const std::unique_ptr<std::string>& a,
                               const std::unique_ptr<std::string>& b) {
                     int c = std::strcmp(a->c_str(), b->c_str());
                     return ascending ? c < 0 : c > 0;
                   });
  return 0;
}

size_t VLIBCSzListCount(const VLIBCSzList* list) {
  return list == nullptr ? 0 : list->items.size();
}

const char* VLIBCSzListGet(const VLIBCSzList* list, size_t index) {
  if (list == nullptr || index >= list->items.size()) return nullptr;
  return list->items[index]->c_str();
}
