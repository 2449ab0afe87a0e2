// What a user keeps outside the database, by login name: the preference
// folder (<preferences>/<name>: own playlists, smart playlists) and the
// random playlist file. When the account is deleted they go with it, so a
// later account of the same name starts with nothing of the old one's.
#ifndef CANTORA_PLATFORM_PLAYLIST_USER_FILES_H
#define CANTORA_PLATFORM_PLAYLIST_USER_FILES_H

#include <string>

namespace cantora {

// Removes a user's files around the deletion of the account:
//
//   UserFilesRemoval removal(name);
//   if (!removal.Begin(&error)) ...;        // the folder is moved aside
//   if (!DeleteUser(db, name, &error)) {
//     removal.Undo();                         // and put back
//   } else if (!removal.Finish(&error)) ...  // or removed, with the random file
//
// While the account is being deleted nothing of it lies under its name; a
// removal cut short leaves a hidden folder beside the others, never the old
// files under a name a new account could take.
class UserFilesRemoval {
 public:
  explicit UserFilesRemoval(std::string user_name);

  // Moves the preference folder aside under a hidden name. True also when
  // the user has none.
  bool Begin(std::string* error);
  // Moves it back.
  void Undo();
  // Removes what was moved aside, and the random playlist file. Links are
  // removed, never followed.
  bool Finish(std::string* error);

 private:
  std::string user_;
  std::string aside_;  // the hidden name, empty when nothing was moved
};

}  // namespace cantora

#endif
