#include "platform/playlist/user_files.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/file/remove_tree.h"
#include "platform/playlist/playlist_files.h"

namespace cantora {
namespace {

// The preferences folder, open; -1 when it cannot be.
int OpenPreferences() {
  return open(GetConfig().preferences.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

UserFilesRemoval::UserFilesRemoval(std::string user_name) : user_(std::move(user_name)) {}

bool UserFilesRemoval::Begin(std::string* error) {
  if (!IsValidUserName(user_)) {
    *error = "invalid user name '" + user_ + "'";
    return false;
  }
  int prefs = OpenPreferences();
  if (prefs < 0) {
    if (errno == ENOENT) return true;  // no user has a preference folder yet
    *error = "cannot open " + GetConfig().preferences + ": " + std::strerror(errno);
    return false;
  }
  // A user name never begins with '.': no account can have this folder.
  std::string aside = ".deleted-" + user_ + "." + std::to_string(getpid());
  bool moved = renameat(prefs, user_.c_str(), prefs, aside.c_str()) == 0;
  int cause = errno;
  close(prefs);
  if (moved) {
    aside_ = aside;
    return true;
  }
  if (cause == ENOENT) return true;  // the user has no preference folder
  *error = "cannot move " + GetConfig().preferences + "/" + user_ + " aside: " + std::strerror(cause);
  return false;
}

void UserFilesRemoval::Undo() {
  if (aside_.empty()) return;
  int prefs = OpenPreferences();
  if (prefs < 0) return;
  if (renameat(prefs, aside_.c_str(), prefs, user_.c_str()) == 0) aside_.clear();
  close(prefs);
}

bool UserFilesRemoval::Finish(std::string* error) {
  bool ok = true;
  if (!aside_.empty()) {
    int prefs = OpenPreferences();
    if (prefs < 0) {
      *error = "cannot open " + GetConfig().preferences + ": " + std::strerror(errno);
      return false;
    }
    ok = RemoveTree(prefs, aside_, error);
    close(prefs);
    if (ok) aside_.clear();
  }
  const std::string random = RandomPlaylistFile(user_);
  if (!random.empty() && unlink(random.c_str()) != 0 && errno != ENOENT) {
    *error = "cannot remove " + random + ": " + std::strerror(errno);
    ok = false;
  }
  return ok;
}

}  // namespace cantora
