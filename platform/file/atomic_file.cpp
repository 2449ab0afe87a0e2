#include "platform/file/atomic_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/io/unique_fd.h"

namespace cantora {
namespace {

std::string Problem(const std::string& what, const std::string& path) {
  return what + " " + path + ": " + std::strerror(errno);
}

// A temporary file that is removed unless it was renamed into place.
class TempFile {
 public:
  explicit TempFile(const std::string& target) {
    std::string pattern = target + ".XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    fd_.Reset(mkstemp(name.data()));
    if (fd_) path_ = name.data();
  }
  ~TempFile() {
    fd_.Reset();
    if (!path_.empty()) unlink(path_.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }
  bool Close() { return fd_.Close(); }
  void Keep() { path_.clear(); }

 private:
  UniqueFd fd_;
  std::string path_;
};

}  // namespace

bool ReplaceFileAtomically(const std::string& path, const std::string& text, std::string* error) {
  size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = Problem("cannot create", folder);
      return false;
    }
  }
  TempFile temp(path);
  if (temp.fd() < 0) {
    *error = Problem("cannot create a temporary file for", path);
    return false;
  }
  if (!WriteAll(temp.fd(), text) || fsync(temp.fd()) != 0) {
    *error = Problem("cannot write", temp.path());
    return false;
  }
  if (fchmod(temp.fd(), 0644) != 0 || !temp.Close()) {
    *error = Problem("cannot finish", temp.path());
    return false;
  }
  if (std::rename(temp.path().c_str(), path.c_str()) != 0) {
    *error = Problem("cannot rename onto", path);
    return false;
  }
  temp.Keep();
  return true;
}

}  // namespace cantora
