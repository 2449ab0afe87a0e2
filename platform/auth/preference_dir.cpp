#include "platform/auth/preference_dir.h"

#include <cstring>

#include "platform/auth/account.h"
#include "platform/config/config.h"

namespace cantora {

std::string UserPreferenceDir(const std::string& user_name) {
  if (!IsValidUserName(user_name)) return std::string();
  return GetConfig().preferences + "/" + user_name;
}

}  // namespace cantora

int ZARNUserPreferenceDirGet(const char* user_name, char* dest, size_t size) {
  if (user_name == nullptr || dest == nullptr || size == 0) return -1;
  const std::string dir = cantora::UserPreferenceDir(user_name);
  if (dir.empty() || dir.size() >= size) return -1;
  std::memcpy(dest, dir.c_str(), dir.size() + 1);
  return 0;
}
