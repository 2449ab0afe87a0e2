#include "tests/support/blackbox.h"

namespace blackbox {

CgiResult RunAsWebUser(const Instance& instance, const std::string& program,
                       const std::string& session, const std::string& query) {
  CgiRequest request;
  request.program = program;
  request.session = session;
  request.query = query;
  request.run_as = "nobody";
  return harness::RunCgi(instance, request);
}

std::string IndexAndSignIn(const LibraryInstance& instance, const std::vector<fixture::Song>& songs,
                           const std::string& user) {
  instance.AddSongs(songs);
  instance.Index();
  return instance.AddUser(user);
}

}  // namespace blackbox
