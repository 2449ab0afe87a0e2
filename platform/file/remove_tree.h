// Removing a folder and everything below it, as root, in a folder that
// others may write: no link is ever followed (a link is removed, not what
// it names), and every step starts from a handle of the folder above, so a
// folder swapped for a link on the way leads nowhere.
#ifndef CANTORA_PLATFORM_FILE_REMOVE_TREE_H
#define CANTORA_PLATFORM_FILE_REMOVE_TREE_H

#include <string>

namespace cantora {

// Removes name, in the folder open as parent_fd, with all it holds: a file or
// a link is unlinked, a folder emptied and removed. True when nothing is left
// under that name (a missing name included); else *error says what stayed.
bool RemoveTree(int parent_fd, const std::string& name, std::string* error);

}  // namespace cantora

#endif
