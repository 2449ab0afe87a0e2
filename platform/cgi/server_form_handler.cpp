#include "platform/cgi/server_form_handler.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/config/config.h"

namespace {
constexpr const char* kErrorContentType = "text/plain; charset=\"UTF-8\"";
}

ServerFormHandler::ServerFormHandler(const char* form_name)
    : web_(WebMan::FromEnvironment()), form_name_(form_name ? form_name : "") {}

ServerFormHandler::~ServerFormHandler() {
  if (lock_fd_ >= 0) close(lock_fd_);
}

// The platform's request lock: one file in the cache folder, exclusive for
// writers and shared for readers. Nothing in the gateway takes it.
static int OpenLock() {
  std::string path = cantora::GetConfig().cache + "/.request.lock";
  return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

bool ServerFormHandler::ExLock() {
  if (lock_fd_ < 0) lock_fd_ = OpenLock();
  return lock_fd_ >= 0 && flock(lock_fd_, LOCK_EX) == 0;
}

bool ServerFormHandler::ShLock() {
  if (lock_fd_ < 0) lock_fd_ = OpenLock();
  return lock_fd_ >= 0 && flock(lock_fd_, LOCK_SH) == 0;
}

void ServerFormHandler::SetFormErrInfo(const char* section, const char* key, int line) {
  err_section_ = section ? section : "";
  err_key_ = key ? key : "";
  err_line_ = line;
  has_error_ = true;
}

void ServerFormHandler::ReportError() {
  Json::Value answer(Json::objectValue);
  answer["success"] = false;
  Json::Value info(Json::objectValue);
  info["sec"] = err_section_;
  info["key"] = err_key_;
  info["line"] = err_line_;
  if (!form_name_.empty()) info["form"] = form_name_;
  answer["errinfo"] = info;
  web_.WriteHeader(kErrorContentType);
  web_.WriteBody(answer);
}
