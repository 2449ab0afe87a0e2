// cantora-admin radio: the user-defined and favorite station lists, and the
// SHOUTcast genre caches. Edits go through the store, so the files keep the
// one format the gateway reads; input is checked first, since the store
// itself takes what it is given (a bad index there appends, a bad selection
// deletes station 0).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include "platform/text/json_parse.h"
#include "platform/radio/shoutcast_update.h"
#include "platform/radio/store/radiolist.h"
#include "tools/admin/command.h"
#include "tools/admin/input.h"

namespace {

constexpr const char* kRadioUsage =
    "usage: cantora-admin radio <command> [arguments]\n"
    "\n"
    "  list KIND                          print the list as JSON\n"
    "  add KIND [FILE|-]                  append stations: a JSON array of station\n"
    "                                     objects, or an object with \"stations\"\n"
    "  update KIND INDEX [FILE|-]         set \"name\", \"url\" and \"desc\" of station\n"
    "                                     INDEX from a station object (members\n"
    "                                     left out keep their values)\n"
    "  delete KIND SELECTION              delete the stations at comma-separated\n"
    "                                     indexes, e.g. 0,2\n"
    "  replace KIND START COUNT [FILE|-]  replace COUNT stations from START by a JSON\n"
    "                                     array of items {\"title\", \"url\", \"desc\"};\n"
    "                                     COUNT 0 inserts before START\n"
    "  refresh GENRE                      fetch the stations of a SHOUTcast genre\n"
    "                                     now (display name, e.g. \"Hip Hop\") and\n"
    "                                     print how many came back\n"
    "\n"
    "KIND is userdefined or favorite. Indexes count from 0. Without FILE, or with\n"
    "'-', the JSON is read from stdin. A station object has \"name\", \"url\",\n"
    "\"desc\" and \"bitrate\" (kbit/s as text, or bit/s as a number).\n";

bool ParseKind(const std::string& text, tag_ZARN_AUDIORADIO_TYPE* kind) {
  if (text == "userdefined") {
    *kind = ZARN_AUDIORADIO_USERDEFINED;
  } else if (text == "favorite") {
    *kind = ZARN_AUDIORADIO_FAVORITE;
  } else {
    return false;
  }
  return true;
}

bool ParseNumber(const std::string& text, unsigned* out) {
  if (text.empty() || text.size() > 9) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  *out = static_cast<unsigned>(std::stoul(text));
  return true;
}

// Reads and parses the JSON of FILE, or stdin for "-".
bool ReadJson(const std::string& source, Json::Value* value, std::string* error) {
  std::string text;
  if (!ReadAdminInput(source, &text)) {
    *error = "cannot read " + source;
    return false;
  }
  Json::CharReaderBuilder builder;
  builder["failIfExtra"] = true;
  std::string problem;
  if (!cantora::ParseJson(text, builder, value, &problem)) {
    std::string where = source == "-" ? "stdin" : source;
    size_t eol = problem.find('\n', problem.find('\n') + 1);
    *error = "malformed JSON in " + where + ": " + problem.substr(0, eol);
    for (char& c : *error)
      if (c == '\n') c = ' ';
    return false;
  }
  return true;
}

// Where a station's display name is: "name" in the lists, "title" in the
// items of a replace (the store renames it).
enum class NameKey { kName, kTitle };

// A station as clients show and play it: its name and "url" texts, "desc"
// a text when given. Other members are the store's to keep.
bool IsStation(const Json::Value& station, NameKey name, const std::string& what,
               std::string* error) {
  if (!station.isObject()) {
    *error = what + " is not a JSON object";
    return false;
  }
  for (const char* key : {name == NameKey::kName ? "name" : "title", "url", "desc"}) {
    const bool required = std::strcmp(key, "desc") != 0;
    const Json::Value& value = station[key];
    if (value.isString() || (!required && value.isNull())) continue;
    *error = what + ": \"" + key + "\" must be " + (required ? "a text" : "a text when given");
    return false;
  }
  return true;
}

// An array whose elements are all stations; what names them goes in errors.
bool IsArrayOfStations(const Json::Value& value, NameKey name, const char* what,
                       std::string* error) {
  if (!value.isArray()) {
    *error = std::string("expected a JSON array of ") + what;
    return false;
  }
  for (Json::ArrayIndex i = 0; i < value.size(); ++i)
    if (!IsStation(value[i], name, std::string(what) + " " + std::to_string(i), error)) return false;
  return true;
}

// The operands of an edit: the kind, the list as it is now, and the JSON
// input when the command takes one.
struct Edit {
  tag_ZARN_AUDIORADIO_TYPE kind;
  std::string kind_name;
  Json::Value list;
  Json::Value input;

  Json::ArrayIndex Count() const { return list["stations"].size(); }
};

// Checks the kind in args[1] and loads its list; false after printing the
// error.
bool StartEdit(const AdminArgs& args, Edit* edit) {
  if (args.size() < 2) {
    Fail("radio " + args[0] + ": which list? (userdefined or favorite)");
    return false;
  }
  if (!ParseKind(args[1], &edit->kind)) {
    Fail("radio: unknown list '" + args[1] + "' (userdefined or favorite)");
    return false;
  }
  edit->kind_name = args[1];
  if (ZARNAudioRadioGetList(edit->kind, edit->list) != 0) {
    std::string path;
    RadioListPathByType(edit->kind, path);
    Fail("radio: the " + args[1] + " list does not parse: " + path);
    return false;
  }
  return true;
}

// Reads the JSON input named by args[at] (stdin when absent) into edit; false
// after printing the error.
bool ReadInput(const AdminArgs& args, size_t at, Edit* edit) {
  if (args.size() > at + 1) {
    Fail("radio " + args[0] + ": too many arguments");
    return false;
  }
  std::string error;
  if (!ReadJson(args.size() > at ? args[at] : "-", &edit->input, &error)) {
    Fail("radio: " + error);
    return false;
  }
  return true;
}

// Refuses an index of the command's arguments (as typed) that names no
// station of the list.
int FailOutOfRange(const char* command, const std::string& index, const Edit& edit) {
  return Fail(std::string("radio ") + command + ": index " + index + " out of range (the " +
              edit.kind_name + " list has " + std::to_string(edit.Count()) + " stations)");
}

// The store reports success even when it could not save, so the edit's own
// saved answer decides; count is the number of stations the edit leaves.
int Finish(const Edit& edit, bool saved, Json::ArrayIndex count) {
  if (!saved)
    return Fail("radio: the " + edit.kind_name + " list could not be saved (see the system log)");
  std::printf("%u stations in the %s list\n", count, edit.kind_name.c_str());
  return 0;
}

int List(const AdminArgs& args) {
  Edit edit;
  if (!StartEdit(args, &edit)) return 1;
  if (args.size() > 2) return Fail("radio list: too many arguments");
  Json::StyledWriter writer;
  std::fputs(writer.write(edit.list).c_str(), stdout);
  return 0;
}

int Add(const AdminArgs& args) {
  Edit edit;
  if (!StartEdit(args, &edit) || !ReadInput(args, 2, &edit)) return 1;
  const Json::Value& stations =
      edit.input.isObject() ? edit.input["stations"] : edit.input;
  std::string error;
  if (!IsArrayOfStations(stations, NameKey::kName, "station", &error)) return Fail("radio add: " + error);
  const Json::ArrayIndex count = edit.Count() + stations.size();
  bool saved = false;
  if (RadioListAdd(edit.kind, stations, &saved) != 0)
    return Fail("radio add: failed (see the system log)");
  return Finish(edit, saved, count);
}

int Update(const AdminArgs& args) {
  Edit edit;
  if (!StartEdit(args, &edit)) return 1;
  unsigned index = 0;
  if (args.size() < 3 || !ParseNumber(args[2], &index))
    return Fail("radio update: INDEX must be a station index");
  if (index >= edit.Count()) return FailOutOfRange("update", args[2], edit);
  if (!ReadInput(args, 3, &edit)) return 1;
  if (!edit.input.isObject()) return Fail("radio update: expected a JSON station object");
  // Members left out keep their values; the store would set them to null.
  const Json::Value& current = edit.list["stations"][index];
  for (const char* key : {"name", "url", "desc"})
    if (!edit.input.isMember(key)) edit.input[key] = current[key];
  std::string error;
  if (!IsStation(edit.input, NameKey::kName, "the station", &error)) return Fail("radio update: " + error);
  bool saved = false;
  if (RadioListUpdate(edit.kind, index, edit.input, &saved) != 0)
    return Fail("radio update: failed (see the system log)");
  return Finish(edit, saved, edit.Count());
}

int Delete(const AdminArgs& args) {
  Edit edit;
  if (!StartEdit(args, &edit)) return 1;
  if (args.size() != 3) return Fail("radio delete: expected KIND SELECTION");
  std::set<unsigned> picked;
  std::stringstream pieces(args[2]);
  for (std::string piece; std::getline(pieces, piece, ',');) {
    if (piece.empty()) continue;
    unsigned index = 0;
    if (!ParseNumber(piece, &index)) return Fail("radio delete: '" + piece + "' is not an index");
    if (index >= edit.Count()) return FailOutOfRange("delete", piece, edit);
    picked.insert(index);
  }
  if (picked.empty()) return Fail("radio delete: no index selected");
  bool saved = false;
  if (RadioListDelete(edit.kind, args[2].c_str(), &saved) != 0)
    return Fail("radio delete: failed (see the system log)");
  return Finish(edit, saved, edit.Count() - static_cast<Json::ArrayIndex>(picked.size()));
}

int Replace(const AdminArgs& args) {
  Edit edit;
  if (!StartEdit(args, &edit)) return 1;
  unsigned start = 0, count = 0;
  if (args.size() < 4 || !ParseNumber(args[2], &start) || !ParseNumber(args[3], &count))
    return Fail("radio replace: START and COUNT must be numbers");
  if (!ReadInput(args, 4, &edit)) return 1;
  std::string error;
  if (!IsArrayOfStations(edit.input, NameKey::kTitle, "item", &error)) return Fail("radio replace: " + error);
  const Json::ArrayIndex size = edit.Count();
  const Json::ArrayIndex replaced = start >= size ? 0 : std::min<Json::ArrayIndex>(count, size - start);
  bool saved = false;
  if (RadioListReplace(edit.kind, start, count, edit.input, &saved) != 0)
    return Fail("radio replace: failed (see the system log)");
  return Finish(edit, saved, size - replaced + edit.input.size());
}

int Refresh(const AdminArgs& args) {
  if (args.size() != 2) return Fail("radio refresh: expected one GENRE");
  const std::string& genre = args[1];
  if (RadioShoutcastIndexByGenre(genre.c_str()) < 0)
    return Fail("radio refresh: unknown genre '" + genre + "'");
  int result = cantora::UpdateShoutcastGenre(cantora::kShoutcastStemPrefix + genre);
  if (result != 0) return Fail("radio refresh: the refresh of " + genre + " failed");
  // Just written, so fresh: this reads without fetching again.
  Json::Value list;
  if (ZARNAudioRadioGetShoutcastListByGenre(genre.c_str(), list, 0) != 0)
    return Fail("radio refresh: the cache of " + genre + " does not parse");
  std::printf("%u stations in %s\n", list["stations"].size(), genre.c_str());
  return 0;
}

int RunRadio(const AdminArgs& args) {
  if (args.empty()) return Fail("radio: which command? (see cantora-admin radio --help)");
  static const struct {
    const char* name;
    int (*run)(const AdminArgs&);
  } kCommands[] = {{"list", List},       {"add", Add},         {"update", Update},
                   {"delete", Delete},   {"replace", Replace}, {"refresh", Refresh}};
  for (const auto& command : kCommands) {
    if (args[0] != command.name) continue;
    if (!LoadAdminConfig()) return 1;
    return command.run(args);
  }
  return Fail("radio: unknown command '" + args[0] + "' (see cantora-admin radio --help)");
}

AdminCommand radio_command("radio", "edit the radio station lists, refresh a genre",
                              kRadioUsage, RunRadio);

}  // namespace
