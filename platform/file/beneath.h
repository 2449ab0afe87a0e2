// Lookups confined to a folder (a library's root), for code that runs with
// root's rights: what they find tells nothing about what lies outside it.
//
// A symbolic link is judged by its text first: a link whose target, read as
// text from the folder that holds it, ever leaves the root is refused before
// anything is looked up, so that whether folders outside exist (or can be
// entered) never changes the answer. What the text names is then opened by
// the kernel beneath the root's handle (openat2 RESOLVE_BENEATH), so that a
// further link on the way cannot lead out either.
#ifndef CANTORA_PLATFORM_FILE_BENEATH_H
#define CANTORA_PLATFORM_FILE_BENEATH_H

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

namespace cantora {

// Opens path, relative, beneath the folder open as root_fd: ".." and links
// that would leave it fail (EXDEV), and so do absolute links. O_CLOEXEC is
// added to flags (O_PATH for a handle that reads nothing). Returns the
// descriptor, or -1 with errno set.
int OpenBeneath(int root_fd, const char* path, int flags);

// The names of one root: as configured, and with its links resolved (either
// may be empty). An absolute link target counts when it begins with one.
struct RootNames {
  std::string_view path;
  std::string_view real;
};

// The path relative to the root that a link's target text names, the link
// lying in link_folder (relative to the root; "" or "." for the root
// itself). "." and ".." are folded by the text alone; nullopt when the text
// leaves the root at any step, or is absolute and not below one of root's
// names. "" names the root itself.
std::optional<std::string> LinkTargetBeneath(std::string_view link_folder, std::string_view target,
                                             const RootNames& root);

// Opens, with flags (see OpenBeneath), what the link name in folder_fd (the
// folder link_folder of the root open as root_fd) names, when its text stays
// inside the root; -1 otherwise. Needs the rights to read the folders on
// the way.
int OpenLinkTargetBeneath(int root_fd, const RootNames& root, int folder_fd,
                          std::string_view link_folder, const char* name, int flags);

// Whether the link name, in folder_fd (the folder link_folder of the root
// open as root_fd), leads to a regular file inside the root; *st then holds
// that file's status. Needs the rights to read the folders on the way.
bool LinkedFileBeneath(int root_fd, const RootNames& root, int folder_fd,
                       std::string_view link_folder, const char* name, struct stat* st);

}  // namespace cantora

#endif
