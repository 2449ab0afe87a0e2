#include "platform/cgi/webman.h"

#include "platform/cgi/ui_language.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include "platform/cgi/json_text.h"
#include "platform/cgi/request_source.h"
#include "platform/config/config.h"
#include "platform/text/percent_escape.h"

namespace cantora {
namespace {

std::string Env(const char* name) {
  const char* v = RequestEnv(name);
  return v ? v : "";
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The value of a "name=value" attribute inside a header such as
// Content-Type or Content-Disposition; quotes removed.
std::string HeaderAttribute(const std::string& header, const std::string& name) {
  std::string lower = Lower(header);
  size_t pos = 0;
  while ((pos = lower.find(name + "=", pos)) != std::string::npos) {
    bool at_start = pos == 0 || lower[pos - 1] == ';' || lower[pos - 1] == ' ' ||
                    lower[pos - 1] == '\t';
    pos += name.size() + 1;
    if (!at_start) continue;
    if (pos < header.size() && header[pos] == '"') {
      size_t end = header.find('"', pos + 1);
      if (end == std::string::npos) return "";
      return header.substr(pos + 1, end - pos - 1);
    }
    size_t end = header.find_first_of("; \t", pos);
    return header.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
  }
  return "";
}

}  // namespace

std::string UrlDecode(const std::string& text, bool plus_is_space) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    int byte;
    if (c == '+' && plus_is_space) {
      out += ' ';
    } else if ((byte = PercentEscapeAt(text, i)) >= 0) {
      out += static_cast<char>(byte);
      i += 2;
    } else {
      out += c;  // a stray '%' stays as it is
    }
  }
  return out;
}

WebMan WebMan::FromEnvironment() {
  std::string method = Env("REQUEST_METHOD");
  std::string content_type = Env("CONTENT_TYPE");
  long max = GetConfig().max_body_bytes;
  std::string body;
  bool too_large = false;
  if (method == "POST") {
    char* end = nullptr;
    std::string length_text = Env("CONTENT_LENGTH");
    long length = std::strtol(length_text.c_str(), &end, 10);
    if (length_text.empty() || *end != '\0' || length < 0) {
      length = 0;
    }
    if (length > max) {
      too_large = true;  // not even read: the server discards it
    } else if (length > 0) {
      body.resize(static_cast<size_t>(length));
      size_t got = std::fread(&body[0], 1, body.size(), CurrentRequest().in);
      body.resize(got);
    }
  }
  WebMan web = FromParts(method, Env("QUERY_STRING"), content_type, body, Env("HTTP_COOKIE"), max);
  if (too_large) web.body_rejected_ = true;
  web.accept_language_ = Env("HTTP_ACCEPT_LANGUAGE");
  web.out_ = CurrentRequest().out;
  return web;
}

WebMan WebMan::FromParts(const std::string& method, const std::string& query,
                         const std::string& content_type, const std::string& body,
                         const std::string& cookie_header, long max_body_bytes) {
  WebMan web;
  web.method_ = method;
  web.AddParameters(query, &web.query_names_);
  if (method == "POST" && !body.empty()) {
    std::string type = Lower(content_type.substr(0, content_type.find(';')));
    while (!type.empty() && type.back() == ' ') type.pop_back();
    if (static_cast<long>(body.size()) > max_body_bytes) {
      web.body_rejected_ = true;
    } else if (type == "application/x-www-form-urlencoded") {
      web.AddParameters(body);
    } else if (type == "multipart/form-data") {
      if (!web.AddMultipart(content_type, body)) web.body_rejected_ = true;
    }
  }
  // Cookies: "a=1; b=2". The first of a repeated name wins, as for parameters.
  size_t pos = 0;
  while (pos < cookie_header.size()) {
    size_t end = cookie_header.find(';', pos);
    if (end == std::string::npos) end = cookie_header.size();
    std::string pair = cookie_header.substr(pos, end - pos);
    size_t b = pair.find_first_not_of(' ');
    if (b != std::string::npos) pair = pair.substr(b);
    size_t eq = pair.find('=');
    if (eq != std::string::npos && eq > 0)
      web.cookies_.emplace(pair.substr(0, eq), pair.substr(eq + 1));
    pos = end + 1;
  }
  return web;
}

void WebMan::Add(std::string name, std::string value) {
  // Handlers read parameters as C strings: a value with a NUL inside would
  // reach them cut short, as some other value. Such a pair is not taken.
  if (name.find('\0') != std::string::npos || value.find('\0') != std::string::npos) return;
  params_.emplace(std::move(name), std::move(value));  // keeps the first value
}

void WebMan::AddParameters(const std::string& urlencoded, std::set<std::string>* names) {
  size_t pos = 0;
  while (pos <= urlencoded.size()) {
    size_t end = urlencoded.find('&', pos);
    if (end == std::string::npos) end = urlencoded.size();
    std::string pair = urlencoded.substr(pos, end - pos);
    if (!pair.empty()) {
      size_t eq = pair.find('=');
      std::string name = UrlDecode(pair.substr(0, eq), true);
      std::string value = eq == std::string::npos ? "" : UrlDecode(pair.substr(eq + 1), true);
      if (!name.empty()) {
        if (names != nullptr) names->insert(name);
        Add(std::move(name), std::move(value));
      }
    }
    pos = end + 1;
  }
}

bool WebMan::AddMultipart(const std::string& content_type, const std::string& body) {
  std::string boundary = HeaderAttribute(content_type, "boundary");
  if (boundary.empty() || boundary.size() > 200) return false;
  const std::string delimiter = "--" + boundary;
  size_t pos = body.find(delimiter);
  if (pos == std::string::npos) return false;
  std::map<std::string, std::string> found;
  while (true) {
    pos += delimiter.size();
    if (body.compare(pos, 2, "--") == 0) break;  // the closing delimiter
    if (body.compare(pos, 2, "\r\n") != 0) return false;
    pos += 2;
    size_t headers_end = body.find("\r\n\r\n", pos);
    if (headers_end == std::string::npos) return false;
    std::string headers = body.substr(pos, headers_end - pos);
    size_t content_start = headers_end + 4;
    size_t next = body.find("\r\n" + delimiter, content_start);
    if (next == std::string::npos) return false;
    std::string name;
    size_t line_start = 0;
    while (line_start <= headers.size()) {
      size_t line_end = headers.find("\r\n", line_start);
      if (line_end == std::string::npos) line_end = headers.size();
      std::string line = headers.substr(line_start, line_end - line_start);
      if (Lower(line).rfind("content-disposition:", 0) == 0) name = HeaderAttribute(line, "name");
      line_start = line_end + 2;
    }
    if (!name.empty()) found.emplace(name, body.substr(content_start, next - content_start));
    pos = next + 2;
  }
  for (auto& p : found) Add(p.first, p.second);
  return true;
}

const char* WebMan::In(const char* name, const char* def) const {
  auto it = params_.find(name);
  return it == params_.end() ? def : it->second.c_str();
}

const char* WebMan::Cookie(const char* name) const {
  auto it = cookies_.find(name);
  return it == cookies_.end() ? nullptr : it->second.c_str();
}

const char* WebMan::GetSessionID() const {
  if (const char* id = Cookie("id")) return id;
  return In("_sid", "");
}

std::string WebMan::GetUILanguage() const {
  std::string session = ShippedLanguage(session_language_);
  if (!session.empty()) return session;
  std::string accepted = LanguageOfAcceptLanguage(accept_language_);
  return accepted.empty() ? "en" : accepted;
}

void WebMan::WriteHeader(const char* content_type, const std::vector<std::string>& extra) {
  std::fprintf(out_, "Content-Type: %s\r\n", content_type);
  for (const std::string& line : extra) std::fprintf(out_, "%s\r\n", line.c_str());
  std::fputs("\r\n", out_);
}

void WebMan::WriteBody(const Json::Value& value) {
  WriteJsonText(value, out_);
  std::fflush(out_);
}

}  // namespace cantora
