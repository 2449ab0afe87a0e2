// What the black-box test files share beyond the harness: the harness's names
// they use (brought in by `using namespace blackbox;` at the top of a file),
// and the set-ups many of their tests repeat.
#ifndef CANTORA_TESTS_SUPPORT_BLACKBOX_H
#define CANTORA_TESTS_SUPPORT_BLACKBOX_H

#include <string>
#include <vector>

#include "tests/support/fixture.h"
#include "tests/support/harness.h"
#include "tests/support/library_instance.h"

namespace blackbox {

using harness::CgiRequest;
using harness::CgiResult;
using harness::Column;
using harness::CommandResult;
using harness::Encode;
using harness::Instance;
using harness::kErr;
using harness::LibraryInstance;
using harness::LibrarySuite;
using harness::Logged;
using harness::Tune;

// The titles, paths or ids of an answer's items, in answer order.
using Names = std::vector<std::string>;

// Runs program, a copy of a gateway installed as the web server has it
// (harness::InstallGatewayCopy), as the web server's user "nobody", with
// session's cookie and query.
CgiResult RunAsWebUser(const Instance& instance, const std::string& program,
                       const std::string& session, const std::string& query);

// Writes songs into the instance's shared folder, indexes it and signs in
// user (made then); the session.
std::string IndexAndSignIn(const LibraryInstance& instance, const std::vector<fixture::Song>& songs,
                           const std::string& user = "alice");

}  // namespace blackbox

#endif
