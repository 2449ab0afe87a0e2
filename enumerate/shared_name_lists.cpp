#include "enumerate/shared_name_lists.h"

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

const NameItems* FindSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp) {
  Kept& k = Slot(list);
  if (!k.items) return nullptr;
  if (k.stamp == stamp) return &*k.items;
  k.items.reset();  // a list of another index, no use any more
  return nullptr;
}

void KeepSharedNameList(SharedNameList list, const cantora::DatabaseStamp& stamp,
                        const NameItems& items) {
  if (!State().keeping) return;
  Kept& k = Slot(list);
  k.stamp = stamp;
  k.items = items;
}

void ForgetSharedNameLists() {
  for (Kept& k : State().kept) k.items.reset();
}
