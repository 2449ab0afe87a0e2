#include "platform/file/folder_listing.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>

namespace cantora {
namespace {

FolderListing::Kind KindOfType(unsigned char type) {
  switch (type) {
    case DT_REG:
      return FolderListing::Kind::kRegular;
    case DT_LNK:
      return FolderListing::Kind::kLink;
    case DT_UNKNOWN:
      return FolderListing::Kind::kUnknown;
    default:
      return FolderListing::Kind::kOther;
  }
}

bool IsDotOrDotDot(std::string_view name) { return name == "." || name == ".."; }

}  // namespace

bool FolderListing::Read(int folder_fd) {
  Clear();
  if (lseek(folder_fd, 0, SEEK_SET) != 0) return false;
  alignas(dirent64) char buffer[32768];
  for (;;) {
    ssize_t n = getdents64(folder_fd, buffer, sizeof buffer);
    if (n < 0) {
      Clear();
      return false;
    }
    if (n == 0) break;
    for (ssize_t at = 0; at < n;) {
      const auto* d = reinterpret_cast<const dirent64*>(buffer + at);
      at += d->d_reclen;
      std::string_view name(d->d_name);
      if (IsDotOrDotDot(name)) continue;
      entries_.push_back({names_.size(), name.size(), KindOfType(d->d_type)});
      names_.append(name);
    }
  }
  std::sort(entries_.begin(), entries_.end(),
            [this](const Entry& a, const Entry& b) { return NameOf(a) < NameOf(b); });
  return true;
}

FolderListing::Kind FolderListing::KindOf(std::string_view name) const {
  auto it = std::lower_bound(entries_.begin(), entries_.end(), name,
                             [this](const Entry& e, std::string_view n) { return NameOf(e) < n; });
  if (it == entries_.end() || NameOf(*it) != name) return Kind::kAbsent;
  return it->kind;
}

void FolderListing::Clear() {
  names_.clear();
  entries_.clear();
}

}  // namespace cantora
