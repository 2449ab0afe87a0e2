#include "tests/support/library_instance.h"

#include <sys/stat.h>

#include <stdexcept>

#include "platform/config/platform_db.h"
#include "platform/index/sql_functions.h"

namespace harness {

LibraryInstance::LibraryInstance() {
  if (mkdir(music().c_str(), 0755) != 0) throw std::runtime_error("cannot make " + music());
  CommandResult r = Admin({"folder", "add", music(), "--name", "Music"});
  if (r.status != 0) throw std::runtime_error("folder add failed: " + r.err);
}

void LibraryInstance::AddSongs(const std::vector<fixture::Song>& songs,
                               const std::string& folder) const {
  std::string error;
  if (!fixture::MakeSongs(folder.empty() ? music() : folder, songs, &error))
    throw std::runtime_error("cannot make songs: " + error);
}

CommandResult LibraryInstance::Index(bool full) const {
  std::vector<std::string> args = {"index"};
  if (full) args.push_back("--full");
  CommandResult r = Admin(args);
  if (r.status != 0) throw std::runtime_error("index failed: " + r.err);
  return r;
}

CommandResult LibraryInstance::Sql(const std::string& sql) const {
  CommandResult r = Run({"/usr/bin/sqlite3", Path("data/cantora.db"), sql});
  if (r.status != 0) throw std::runtime_error("sqlite3 failed: " + r.err);
  return r;
}

void LibraryInstance::OpenIndex(sqlite::Database* db) const {
  std::string error;
  if (!cantora::OpenPlatformDatabase(Path("data/cantora.db"), false, db, &error))
    throw std::runtime_error("cannot open the index: " + error);
  if (!cantora::RegisterIndexFunctions(db->get()))
    throw std::runtime_error("cannot register the index's functions");
}

LibraryInstance* LibrarySuite::instance_ = nullptr;
std::string* LibrarySuite::session_ = nullptr;

void LibrarySuite::OpenLibrary(const std::vector<fixture::Song>& songs) {
  instance_ = new LibraryInstance();
  instance_->AddSongs(songs);
  instance_->Index();
  session_ = new std::string(instance_->AddUser("alice"));
}

void LibrarySuite::CloseLibrary() {
  delete session_;
  delete instance_;
  session_ = nullptr;
  instance_ = nullptr;
}

std::vector<std::string> Column(const Json::Value& answer, const char* key) {
  std::vector<std::string> out;
  for (const Json::Value& item : answer["items"]) {
    const Json::Value& v = item[key];
    out.push_back(v.isString() ? v.asString() : v.toStyledString());
  }
  return out;
}

}  // namespace harness
