#include "enumerate/shared_name_lists.h"

#include <utility>

namespace {

struct Kept {
  cantora::DatabaseStamp stamp;
  std::optional<NameItems> items;
};

struct Lists {
  bool keeping = false;
  Kept kept[3];  // by SharedNameList
};

Lists& State() {
  static Lists lists;
  return lists;
}

Kept& Slot(SharedNameList list) { return State().kept[static_cast<int>(list)]; }

}  // namespace

void KeepSharedNameLists() { State().keeping = true; }

bool KeepingSharedNameLists() { return State().keeping; }

const NameItems* FindSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp) {
  Kept& k = Slot(list);
  if (!k.items) return nullptr;
  if (k.stamp == stamp) return &*k.items;
  k.items.reset();  // a list of another index, no use any more
  return nullptr;
}

const NameItems* KeepSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp,
                                    NameItems&& items) {
  if (!State().keeping) return nullptr;
  Kept& k = Slot(list);
  k.stamp = stamp;
  k.items = std::move(items);
  return &*k.items;
}

void ForgetSharedNameLists() {
  for (Kept& k : State().kept) k.items.reset();
}
