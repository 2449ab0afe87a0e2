// Edits of the user-defined and favorite lists: load, change, rewrite.
#include <syslog.h>

#include <cstdlib>
#include <memory>

#include "platform/radio/store/radiolist.h"
#include "platform/text/szlist.h"

namespace {

// The path of a user list kind, logging the store's message with the caller's
// line when the kind has none.
bool PathOrLog(tag_ZARN_AUDIORADIO_TYPE type, std::string& path, int line) {
  if (RadioListPathByType(type, path) == 0) return true;
  syslog(LOG_ERR, "%s:%d Could not find the path of type: %d", kRadioListSource, line,
         static_cast<int>(type));
  return false;
}

void LogNoList(tag_ZARN_AUDIORADIO_TYPE type, int line) {
  syslog(LOG_ERR, "%s:%d Could not get the list of type: %d", kRadioListSource, line,
         static_cast<int>(type));
}

// Saves list and tells whether it did; a failure is only logged, since the
// edits report success anyway.
bool SaveOrLog(const std::string& path, const Json::Value& list,
               tag_ZARN_AUDIORADIO_TYPE type, int line) {
  if (RadioListSave(path.c_str(), list) == 0) return true;
  syslog(LOG_ERR, "%s:%d Could not save list of type: %d", kRadioListSource, line,
         static_cast<int>(type));
  return false;
}

// Sets the optional answer to "was the list written?".
void Tell(bool* saved, bool value) {
  if (saved != nullptr) *saved = value;
}

// A list made of stations alone, with its count.
Json::Value ListOf(const Json::Value& stations) {
  Json::Value list;
  list["stations"] = stations;
  list["total"] = stations.size();
  return list;
}

void AppendFromInput(const Json::Value& items, Json::Value& stations) {
  for (const Json::Value& item : items) {
    Json::Value station;
    RadioStationFromInput(item, station);
    stations.append(station);
  }
}

struct SzListFree {
  void operator()(VLIBCSzList* list) const { VLIBCSzListFree(list); }
};

}  // namespace

void RadioStationFromInput(const Json::Value& in, Json::Value& out) {
  out.clear();
  out["name"] = in["title"];
  out["url"] = in["url"];
  out["desc"] = in["desc"];
}

int RadioListAdd(tag_ZARN_AUDIORADIO_TYPE type, const Json::Value& stations, bool* saved) {
  Tell(saved, false);
  std::string path;
  if (!PathOrLog(type, path, 420)) return -1;
  Json::Value list;
  if (RadioListLoad(path, list) != 0) {
    LogNoList(type, 425);
    return -1;
  }
  Json::Value& all = list["stations"];
  for (const Json::Value& station : stations) all.append(station);
  list["total"] = all.size();
  Tell(saved, SaveOrLog(path, list, type, 435));
  return 0;
}

int RadioListUpdate(tag_ZARN_AUDIORADIO_TYPE type, unsigned index, const Json::Value& station,
                    bool* saved) {
  Tell(saved, false);
  std::string path;
  if (!PathOrLog(type, path, 466)) return -1;
  Json::Value list;
  // A list that does not load is edited as empty: the update then rewrites
  // the broken file rather than leaving the user stuck with it.
  if (RadioListLoad(path, list) != 0) LogNoList(type, 471);
  Json::Value& stations = list["stations"];
  // "<" and not "<=": an index equal to the count appends a station, and
  // clients use update to add one. "total" is then one short; kept so.
  if (stations.size() < index) {
    syslog(LOG_ERR, "%s:%d Bad index: %d", kRadioListSource, 475, static_cast<int>(index));
    return -1;
  }
  Json::Value& target = stations[static_cast<Json::ArrayIndex>(index)];
  target["desc"] = station["desc"];
  target["name"] = station["name"];
  target["url"] = station["url"];
  Tell(saved, SaveOrLog(path, list, type, 484));
  return 0;
}

int RadioListDelete(tag_ZARN_AUDIORADIO_TYPE type, const char* selection, bool* saved) {
  Tell(saved, false);
  std::string path;
  if (!PathOrLog(type, path, 512)) return -1;
  Json::Value list;
  if (RadioListLoad(path, list) != 0) LogNoList(type, 517);
  Json::Value& stations = list["stations"];
  const Json::ArrayIndex n = stations.size();
  if (n < 1) {
    syslog(LOG_ERR, "%s:%d No stations to delete.", kRadioListSource, 522);
    return 0;
  }
  std::unique_ptr<VLIBCSzList, SzListFree> picked(VLIBCSzListAlloc(1024));
  if (!picked) {
    syslog(LOG_ERR, "%s:%d Failed to malloc list.", kRadioListSource, 529);
    return -1;
  }
  VLIBCStrSep(selection, ",", picked.get());
  if (VLIBCSzListCount(picked.get()) == 0) {
    syslog(LOG_ERR, "%s:%d There is no selected item.", kRadioListSource, 537);
    return 0;
  }
  // Marking is idempotent and each mark independent of the others, so the
  // pieces are taken as they come: order and repeats do not matter.
  for (size_t i = 0; i < VLIBCSzListCount(picked.get()); ++i) {
    const char* item = VLIBCSzListGet(picked.get(), i);
    // strtol: a piece that is not a number marks station 0, as it always has.
    // Indexes outside the list would only be dropped below; they are skipped
    // here so that a huge one cannot grow the array in memory.
    long k = std::strtol(item, nullptr, 10);
    if (k < 0 || k >= static_cast<long>(n)) continue;
    stations[static_cast<Json::ArrayIndex>(k)]["destroy"] = true;
  }
  Json::Value kept(Json::arrayValue);
  for (Json::ArrayIndex i = 0; i < n; ++i) {
    // The mutable lookup leaves "destroy": null in every kept station, and
    // the file carries it; readers ignore it.
    const Json::Value& mark = stations[i]["destroy"];
    bool drop = mark.isConvertibleTo(Json::booleanValue) && mark.asBool();
    if (!drop) kept.append(stations[i]);
  }
  Tell(saved, SaveOrLog(path, ListOf(kept), type, 563));
  return 0;
}

int RadioListReplace(tag_ZARN_AUDIORADIO_TYPE type, unsigned start, unsigned count,
                     const Json::Value& items, bool* saved) {
  Tell(saved, false);
  std::string path;
  if (!PathOrLog(type, path, 582)) return -1;
  Json::Value list;
  if (RadioListLoad(path, list) != 0) {
    LogNoList(type, 587);
    return -1;
  }
  const Json::Value& old = list["stations"];
  const Json::ArrayIndex size = old.size();
  Json::Value stations(Json::arrayValue);
  for (Json::ArrayIndex i = 0; i < size; ++i) {
    if (i == start) AppendFromInput(items, stations);
    // No unsigned difference is below a count of 0: nothing is skipped, and
    // the items are inserted.
    if (i >= start && i - start < count) continue;
    stations.append(old[i]);
  }
  if (start >= size) AppendFromInput(items, stations);
  Tell(saved, SaveOrLog(path, ListOf(stations), type, 613));
  return 0;
}
