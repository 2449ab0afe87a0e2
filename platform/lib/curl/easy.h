// One HTTP(S) exchange through libcurl, behind a small RAII handle.
//
// Only http and https are spoken, also across redirects (at most 5). Every
// exchange is bounded: a connect time-out, a total time-out and a cap on the
// answer's size (checked against Content-Length up front and against the
// bytes as they arrive). HTTP statuses are not judged here; the caller reads
// Response::status.
#ifndef CANTORA_PLATFORM_LIB_CURL_EASY_H
#define CANTORA_PLATFORM_LIB_CURL_EASY_H

#include <cstddef>
#include <string>
#include <vector>

typedef void CURL;

namespace curl {

struct Request {
  std::string url;
  // Sent as an application/x-www-form-urlencoded POST body when post is set.
  bool post = false;
  std::string form;
  std::vector<std::string> headers;  // "Name: value"
  std::string user_agent;
  long connect_timeout_seconds = 5;
  long timeout_seconds = 20;
  size_t max_bytes = 1 << 20;
};

struct Response {
  long status = 0;  // HTTP status of the last answer
  std::string body;
};

class Easy {
 public:
  // text percent-encoded for a URL's query (every byte but A-Z a-z 0-9 - . _ ~).
  static std::string Escape(const std::string& text);

  Easy();
  ~Easy();
  Easy(const Easy&) = delete;
  Easy& operator=(const Easy&) = delete;

  // Performs the exchange. False with *error set to one line when the handle
  // could not be made, or on any transport failure: no connection, time-out,
  // an answer larger than max_bytes, a refused protocol.
  bool Perform(const Request& request, Response* response, std::string* error);

 private:
  CURL* handle_;
};

}  // namespace curl

#endif
