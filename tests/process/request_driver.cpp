#include "tests/process/request_driver.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "enumerate/enumerate.h"
#include "enumerate/shared_name_lists.h"
#include "platform/config/platform_db.h"

namespace process_test {
namespace {

// Points file descriptor 1 at a temporary file for the scope, and hands
// back what was written there.
class CapturedStdout {
 public:
  CapturedStdout() : file_(std::tmpfile()) {
    if (file_ == nullptr) throw std::runtime_error("no temporary file");
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (saved_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0)
      throw std::runtime_error("cannot redirect stdout");
  }
  ~CapturedStdout() {
    if (saved_ >= 0) Restore();
    std::fclose(file_);
  }
  std::string Text() {
    Restore();
    std::string text;
    std::rewind(file_);
    char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) text.append(buffer, n);
    return text;
  }

 private:
  void Restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }
  FILE* file_;
  int saved_ = -1;
};

}  // namespace

Served Serve(const std::string& session, const std::string& query,
             const std::function<void()>& after_handler) {
  setenv("REQUEST_METHOD", "GET", 1);
  setenv("QUERY_STRING", query.c_str(), 1);
  if (session.empty())
    unsetenv("HTTP_COOKIE");
  else
    setenv("HTTP_COOKIE", ("id=" + session).c_str(), 1);
  Served served;
  KeepSharedNameLists();  // as a resident gateway's main does
  BeginRequest();
  {
    CapturedStdout capture;
    {
      EnumerationHandler handler;
      handler.Run();
    }
    served.out = capture.Text();
  }
  if (sqlite::Database* db = cantora::PlatformDatabase()) {
    for (sqlite3_stmt* st = sqlite3_next_stmt(db->get(), nullptr); st != nullptr;
         st = sqlite3_next_stmt(db->get(), st)) {
      if (sqlite3_stmt_busy(st)) served.busy_statements += std::string(sqlite3_sql(st)) + "\n";
    }
    served.transaction_left = sqlite3_get_autocommit(db->get()) == 0;
  }
  if (after_handler) after_handler();
  EndOfRequest();
  return served;
}

}  // namespace process_test
