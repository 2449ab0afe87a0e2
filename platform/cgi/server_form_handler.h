// ServerFormHandler: base of every CGI program of the platform.
//
// It owns the request (WebMan) and the platform's error answer. A handler
// records a form error with SetFormErrInfo(section, key, line) and sends it
// with ReportError(), which writes, in place of the handler's own answer:
//
//   {"success":false,"errinfo":{"sec":"<section>","key":"<key>","line":<line>}}
//
// with the content type "text/plain; charset=\"UTF-8\"".
#ifndef CANTORA_PLATFORM_CGI_SERVER_FORM_HANDLER_H
#define CANTORA_PLATFORM_CGI_SERVER_FORM_HANDLER_H

#include <string>

#include "platform/cgi/webman.h"

class ServerFormHandler {
 public:
  // form_name names the program's form in its error answers; may be null.
  explicit ServerFormHandler(const char* form_name);
  virtual ~ServerFormHandler();

  // The request processing of the program.
  virtual void Run() = 0;
  // Hooks the platform calls around Run(); no-ops by default.
  virtual void OnStart() {}
  virtual void OnFinish() {}
  // Locking services, unused by the gateway.
  virtual bool ExLock();
  virtual bool ShLock();

  WebMan& web() { return web_; }

  void SetFormErrInfo(const char* section, const char* key, int line);
  bool HasFormError() const { return has_error_; }
  void ReportError();

 protected:
  WebMan web_;

 private:
  std::string form_name_;
  std::string err_section_;
  std::string err_key_;
  int err_line_ = 0;
  bool has_error_ = false;
  int lock_fd_ = -1;
};

#endif
