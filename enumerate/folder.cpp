// folder_enum: the library walked by its folders. Without a folder id, the
// root level: the contents of the one root, or the list of roots (the shared
// indexed folders, and the user's personal folder in the "all" view). With
// one, that folder's sub-folders and then its songs, or in recursive mode
// every song below it. Folder items and song items share one list.
#include <syslog.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "enumerate/enumerate.h"
#include "enumerate/folder_id_param.h"
#include "enumerate/list_answer.h"
#include "enumerate/song_item.h"
#include "platform/auth/account.h"
#include "platform/cgi/json_text.h"
#include "platform/index/audio_file.h"
#include "platform/index/browse.h"
#include "platform/index/music_browse.h"
#include "platform/index/library.h"
#include "platform/text/utf8.h"

namespace {

// The numbers this file's log lines and privilege guards carry. They are
// part of the gateway's interface (log readers match them), not lines of
// this file: whatever moves here, they never change.
enum LogSite : int {
  kRecursiveWithoutFolder = 884,
  kPersonalFolderPathFailed = 903,
  kSharedFolderPathFailed = 908,
  kRootPersonalFolderFailed = 954,
  kRootIndexedFoldersFailed = 964,
  kRootIndexedConditionFailed = 985,
  kRootHomeFolderFailed = 990,
  kSongsGuard = 1059,
  kSongsNoRoot = 1065,
};

constexpr size_t kBufferSize = 8192;

// The paths go into these as they are; the index takes these exact shapes
// by folder identity, whatever the folder names hold.
constexpr const char* kRootLevel = " path LIKE '%s/%%' AND path NOT LIKE '%s/%%/%%' ";
constexpr const char* kHomeAmongRoots = " OR path LIKE '%s' ";
constexpr const char* kFolderLevel = "path like '%s/%%' and path not like '%s/%%/%%' ";
constexpr const char* kBelowFolder = "path like '%s/%%' ";

constexpr const char* kFolderOrder = "title asc";
constexpr const char* kSongOrder = "album, disc, track, title, artist, genre, year, path, duration";

// One folder_enum request.
struct FolderRequest {
  const char* library;  // the parameter as given
  int uid;
  const char* user_name;
  ListAnswer* answer;
  cantora::SongFiles* files;  // the request's
};

std::string Format(const char* tmpl, const char* path) {
  char text[kBufferSize] = {};
  std::snprintf(text, sizeof text, tmpl, path, path);
  return text;
}

bool IsLibrary(const FolderRequest& r, const char* name) { return std::strcmp(r.library, name) == 0; }

// What a folder item shows of a record: its id carries the personal prefix
// when personal is set; its title is title, followed by " (home)" when home
// is set.
struct FolderFace {
  bool personal = false;
  std::string_view title;
  bool home = false;
};

// Browses the folders of condition and adds the item of each whose title is
// valid UTF-8, faced by face_of. False when the browse failed.
template <class FaceOf>
bool AddFolders(const FolderRequest& r, const std::string& condition, FaceOf face_of) {
  MediaInfo* list = nullptr;
  if (ZARNMusicBrowse(r.library, r.uid, cantora::kBrowseFolders, &list, 0, "*", condition.c_str(),
                      nullptr, kFolderOrder, 0, -1, 0, 0) < 0) {
    ZARNPlaylistRecFree(list);
    return false;
  }
  for (const MediaInfo* info = list; info != nullptr; info = info->next) {
    if (!TryUTF8ToUTF16(info->title)) {
      syslog(LOG_ERR, "folder title %s is not valid utf8", info->title);
      continue;
    }
    FolderFace face = face_of(*info);
    char id[kBufferSize];
    *std::to_chars(id, id + sizeof id - 1, info->id).ptr = '\0';
    if (face.personal) AddPersonalLibraryPrefix(id, sizeof id);
    // Written as text, as JsonCpp writes the object: the root of a large
    // collection lists thousands of folders.
    std::string* item = r.answer->NextItem();
    item->append("{\"folder\":true,\"id\":");
    cantora::AppendJsonString(id, item);
    item->append(",\"title\":");
    if (face.home)
      cantora::AppendJsonString(std::string(face.title) + " (home)", item);
    else
      cantora::AppendJsonString(face.title, item);
    item->push_back('}');
  }
  ZARNPlaylistRecFree(list);
  return true;
}

// The songs of condition after the folders: "success" true once listed,
// none when the browse or the switch to root failed.
std::optional<bool> AddSongs(const FolderRequest& r, const std::string& condition) {
  if (!AppendSongList(*r.files, ChangeToActualLib(r.library), r.uid, condition.c_str(), kSongOrder,
                      -1, kSongsGuard, kSongsNoRoot, r.answer)) {
    return std::nullopt;
  }
  return true;
}

bool PersonalFolder(const FolderRequest& r, int fail_line, char (&path)[kBufferSize]) {
  if (AudioFile::GetPersonalLibraryFolderPath(r.user_name, path, kBufferSize) != 0) return true;
  syslog(LOG_ERR, "%s:%d Get personal library folder failed [%s]", kEnumerateSource, fail_line,
         r.user_name);
  return false;
}

std::optional<bool> RootLevel(const FolderRequest& r) {
  char root[kBufferSize] = {};
  std::string condition;
  std::map<std::string, std::string> roots;
  bool single_root = true;
  if (IsLibrary(r, "personal")) {
    if (!IsPersonalLibEnabled(r.user_name)) return true;
    if (!PersonalFolder(r, kRootPersonalFolderFailed, root)) return std::nullopt;
    condition = Format(kRootLevel, root);
  } else {
    roots = AudioFile::GetIndexedFolder();
    if (roots.empty()) {
      syslog(LOG_ERR, "%s:%d get indexed music folder map error.", kEnumerateSource,
             kRootIndexedFoldersFailed);
      return std::nullopt;
    }
    bool with_home = IsLibrary(r, "all") && IsPersonalLibEnabled(r.user_name);
    if (roots.size() == 1 && !with_home) {
      condition = Format(kRootLevel, roots.begin()->first.c_str());
    } else {
      single_root = false;
      if (AudioFile::GetFolderInIndexedFolderCondition(condition) != 0) {
        syslog(LOG_ERR, "%s:%d Get condition of indexed paths failed.", kEnumerateSource,
               kRootIndexedConditionFailed);
        return std::nullopt;
      }
      if (with_home) {
        if (!PersonalFolder(r, kRootHomeFolderFailed, root)) return std::nullopt;
        char home[kBufferSize] = {};
        std::snprintf(home, sizeof home, kHomeAmongRoots, root);
        condition += home;
      }
    }
  }
  // Shared roots show their display names; the user's own folders their
  // names, marked " (home)" outside the personal view.
  const bool shared_view = IsLibrary(r, "shared"), personal_view = IsLibrary(r, "personal");
  auto face_of = [&](const MediaInfo& info) {
    FolderFace face{false, info.title, false};
    if (shared_view || !ZARNMusicIsPersonalLibrary(&info)) {
      // A handful of roots: a scan beats building a key for every record.
      for (const auto& root : roots)
        if (root.first == info.path) face.title = root.second;
    } else {
      face.personal = true;
      face.home = !personal_view;
    }
    return face;
  };
  if (!AddFolders(r, condition, face_of)) return std::nullopt;
  // No songs at the root of several roots.
  if (!single_root) return true;
  return AddSongs(r, condition);
}

std::optional<bool> GivenFolder(const FolderRequest& r, const char* folder, bool recursive) {
  FolderIdParam given;
  // Form 1: the path as the listing's conditions take it.
  if (!FindFolderIdParam(folder, r.uid, 1, kBufferSize, kPersonalFolderPathFailed,
                         kSharedFolderPathFailed, &given)) {
    return std::nullopt;
  }
  const bool personal = given.personal;
  if (recursive) return AddSongs(r, Format(kBelowFolder, given.path.c_str()));
  std::string condition = Format(kFolderLevel, given.path.c_str());
  auto face_of = [personal](const MediaInfo& info) {
    return FolderFace{personal, info.title, false};
  };
  if (!AddFolders(r, condition, face_of)) return std::nullopt;
  return AddSongs(r, condition);
}

}  // namespace

void EnumerationHandler::FolderEnum() {
  ListAnswer answer(&web_, kJsonContentType);
  cantora::SongFiles& files = request().song_files();
  FolderRequest request{web_.In("library", "shared"), GetUserIdFromName(UserName()), UserName(),
                        &answer, &files};
  const char* folder = web_.In("folder");
  bool recursive = std::strcmp(web_.In("recursive", "no"), "yes") == 0;
  std::optional<bool> success;
  if (recursive && folder == nullptr) {
    syslog(LOG_ERR, "%s:%d can not recursive enum without folder id", kEnumerateSource,
           kRecursiveWithoutFolder);
  } else if (folder == nullptr) {
    success = RootLevel(request);
  } else {
    success = GivenFolder(request, folder, recursive);
  }
  answer.Finish(success);
}
