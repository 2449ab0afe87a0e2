#include "platform/playlist/random_playlist.h"

namespace cantora {
namespace {

constexpr size_t kSuffixLength = sizeof kRandomPlaylistSuffix - 1;

}  // namespace

std::string RandomPlaylistPath(const std::string& tmp_folder, const std::string& user_name) {
  return tmp_folder + user_name + kRandomPlaylistSuffix;
}

bool IsRandomPlaylistFileName(const std::string& path) {
  return path.size() > kSuffixLength &&
         path.compare(path.size() - kSuffixLength, kSuffixLength, kRandomPlaylistSuffix) == 0;
}

}  // namespace cantora
