#include "platform/playlist/legacy_create_playlist.h"

#include "platform/auth/account.h"
#include "platform/playlist/playlist.h"

int IPhoneCreateEmptyPlaylist(const std::string& name, std::string& path, const std::string& owner,
                              bool shared) {
  if (!cantora::IsValidUserName(owner) || GetUserIdFromName(owner.c_str()) <= 0) return 0;
  return cantora::CreateEmptyPlaylist(name, owner, shared, &path) ? 1 : 0;
}
