// One HTTP(S) exchange through libcurl, behind a small RAII handle.
//
// Only http and https are spoken. Every exchange is bounded: a connect
// time-out, a total time-out over the exchange and its redirects (a time-out
// below one second counts as one second: an exchange is never unbounded),
// and a cap on the answer's size, checked against Content-Length up front
// and counted on the bytes as they arrive, after any Content-Encoding is
// undone, so that a small compressed answer cannot inflate past it.
//
// Redirects (at most 5) are followed only within the service asked: to the
// same scheme, host and port, or from http on port 80 to https on port 443 of
// the same host. A redirect anywhere else (another host or port, a file: or
// any other URL) fails the exchange before anything connects there. A 303,
// and a 301 or 302 answering a POST, are followed with a GET; 307 and 308
// repeat the request, body and all.
//
// HTTP statuses are not judged here; the caller reads Response::status.
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

// Redirects followed at most.
constexpr int kMaxRedirects = 5;

// True when a redirect from url to target stays within the service asked
// (see above); both absolute URLs.
bool SameService(const std::string& url, const std::string& target);

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
  // an answer larger than max_bytes, a refused protocol or redirect.
  bool Perform(const Request& request, Response* response, std::string* error);

 private:
  // One request to url, as a POST of request.form when post, within
  // timeout_ms; the answer's status and body in *response.
  bool PerformOne(const Request& request, const std::string& url, bool post, long timeout_ms,
                  Response* response, std::string* error);

  CURL* handle_;
};

}  // namespace curl

#endif
