// A temporary folder for one test, removed with everything in it.
#ifndef CANTORA_TESTS_UNIT_TEMP_FOLDER_H
#define CANTORA_TESTS_UNIT_TEMP_FOLDER_H

#include <ftw.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

class TempFolder {
 public:
  TempFolder() {
    char dir[] = "/tmp/cantora-test-XXXXXX";
    if (mkdtemp(dir) != nullptr) path_ = dir;
  }
  ~TempFolder() {
    if (path_.empty()) return;
    nftw(path_.c_str(),
         [](const char* p, const struct stat*, int, struct FTW*) { return std::remove(p); }, 16,
         FTW_DEPTH | FTW_PHYS);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

#endif
