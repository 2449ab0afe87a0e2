// WebMan: one CGI request and its response.
//
// Parameters come from QUERY_STRING and, for POST, from the body
// (application/x-www-form-urlencoded or multipart/form-data, at most
// Config::max_body_bytes bytes; a larger or malformed body contributes no
// parameters). Names and values are percent-decoded; "+" is a space in
// url-encoded text; a name given twice keeps its first value, the query
// string coming before the body. A name or value holding a NUL byte once
// decoded is dropped: it cannot be passed on as a C string unchanged.
#ifndef CANTORA_PLATFORM_CGI_WEBMAN_H
#define CANTORA_PLATFORM_CGI_WEBMAN_H

#include <json/json.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace cantora {

class WebMan {
 public:
  // Reads the request from the request's source (request_source.h: the CGI
  // environment and stdin, or a FastCGI request's), and answers to its output.
  static WebMan FromEnvironment();
  // Builds a request from its parts (tests, and FromEnvironment itself).
  static WebMan FromParts(const std::string& method, const std::string& query,
                          const std::string& content_type, const std::string& body,
                          const std::string& cookie_header, long max_body_bytes);

  // The named parameter, or def when absent (an empty value is present).
  // The pointer stays valid for the life of this object.
  const char* In(const char* name, const char* def = nullptr) const;
  // The cookie of that name, or null.
  const char* Cookie(const char* name) const;
  // The session id: the cookie "id", else the parameter "_sid", else "".
  const char* GetSessionID() const;
  // The UI language of the request, one of the shipped ones
  // (ui_language.h): the session's language (chosen at sign-in, see
  // SetSessionLanguage), else the one Accept-Language asks for, else "en".
  std::string GetUILanguage() const;
  // The language the session was signed in with; empty for none.
  void SetSessionLanguage(const std::string& language) { session_language_ = language; }

  // The request method ("GET", "POST", ...).
  const std::string& Method() const { return method_; }
  // True when the query string (not the body) names this parameter.
  bool InQueryString(const char* name) const { return query_names_.count(name) != 0; }

  // True when the body was refused (too large, malformed).
  bool BodyRejected() const { return body_rejected_; }

  // Writes the CGI header: Content-Type and any extra lines, then the blank line.
  void WriteHeader(const char* content_type, const std::vector<std::string>& extra = {});
  // Writes the value as compact JSON.
  void WriteBody(const Json::Value& value);
  // Where output goes (the request's output; stdout for FromParts, unless a
  // test redirects it).
  void SetOutput(FILE* out) { out_ = out; }
  FILE* Output() const { return out_; }

 private:
  // Adds the pairs of urlencoded; their names are also recorded in *names
  // when given.
  void AddParameters(const std::string& urlencoded, std::set<std::string>* names = nullptr);
  bool AddMultipart(const std::string& content_type, const std::string& body);
  void Add(std::string name, std::string value);

  std::string method_;
  std::set<std::string> query_names_;
  std::map<std::string, std::string> params_;
  std::map<std::string, std::string> cookies_;
  std::string accept_language_;
  std::string session_language_;
  bool body_rejected_ = false;
  FILE* out_ = stdout;
};

// Percent-decoding of url-encoded text ("+" is a space when plus_is_space).
std::string UrlDecode(const std::string& text, bool plus_is_space);

}  // namespace cantora

// The platform's names live in the global namespace, as the gateway calls them.
using cantora::WebMan;

#endif
