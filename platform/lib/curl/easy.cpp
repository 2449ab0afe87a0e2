#include "platform/lib/curl/easy.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <chrono>

namespace curl {
namespace {

// libcurl's global state, set up once, before the first handle.
void GlobalInit() {
  static const bool done = [] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return true;
  }();
  (void)done;
}

class HeaderList {
 public:
  HeaderList() = default;
  ~HeaderList() { curl_slist_free_all(list_); }
  HeaderList(const HeaderList&) = delete;
  HeaderList& operator=(const HeaderList&) = delete;
  bool Add(const std::string& line) {
    curl_slist* grown = curl_slist_append(list_, line.c_str());
    if (grown == nullptr) return false;
    list_ = grown;
    return true;
  }
  curl_slist* get() const { return list_; }

 private:
  curl_slist* list_ = nullptr;
};

struct Sink {
  std::string* body;
  size_t max_bytes;
  bool overflowed;
};

size_t Write(char* data, size_t size, size_t count, void* user) {
  Sink* sink = static_cast<Sink*>(user);
  size_t n = size * count;
  if (sink->body->size() + n > sink->max_bytes) {
    sink->overflowed = true;
    return 0;  // libcurl stops with CURLE_WRITE_ERROR
  }
  sink->body->append(data, n);
  return n;
}

// A parsed URL, released on every path.
class Url {
 public:
  explicit Url(const std::string& text) : url_(curl_url()) {
    ok_ = url_ != nullptr && curl_url_set(url_, CURLUPART_URL, text.c_str(), 0) == CURLUE_OK;
  }
  ~Url() { curl_url_cleanup(url_); }
  Url(const Url&) = delete;
  Url& operator=(const Url&) = delete;

  bool ok() const { return ok_; }
  // A part as text (the port with its scheme's default filled in), empty when absent.
  std::string Part(CURLUPart part) const {
    char* text = nullptr;
    if (curl_url_get(url_, part, &text, part == CURLUPART_PORT ? CURLU_DEFAULT_PORT : 0) !=
        CURLUE_OK)
      return "";
    std::string out = text;
    curl_free(text);
    if (part != CURLUPART_PORT)
      for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
  }

 private:
  CURLU* url_;
  bool ok_ = false;
};

}  // namespace

bool SameService(const std::string& url, const std::string& target) {
  Url from(url), to(target);
  if (!from.ok() || !to.ok()) return false;
  const std::string from_scheme = from.Part(CURLUPART_SCHEME), to_scheme = to.Part(CURLUPART_SCHEME);
  const std::string from_port = from.Part(CURLUPART_PORT), to_port = to.Part(CURLUPART_PORT);
  if (to_scheme != "http" && to_scheme != "https") return false;
  if (from.Part(CURLUPART_HOST) != to.Part(CURLUPART_HOST) || to.Part(CURLUPART_HOST).empty())
    return false;
  if (from_scheme == to_scheme) return from_port == to_port;
  return from_scheme == "http" && from_port == "80" && to_scheme == "https" && to_port == "443";
}

Easy::Easy() {
  GlobalInit();
  handle_ = curl_easy_init();
}

Easy::~Easy() {
  if (handle_ != nullptr) curl_easy_cleanup(handle_);
}

bool Easy::Perform(const Request& request, Response* response, std::string* error) {
  if (handle_ == nullptr) {
    *error = "cannot make an HTTP handle";
    return false;
  }
  // One deadline for the whole exchange, redirects included.
  const long timeout_seconds = std::max(1L, request.timeout_seconds);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
  std::string url = request.url;
  bool post = request.post;
  for (int redirects = 0;; ++redirects) {
    const long left_ms = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               deadline - std::chrono::steady_clock::now())
                                               .count());
    if (left_ms <= 0) {
      *error = "Operation timed out after " + std::to_string(timeout_seconds) + " s";
      return false;
    }
    if (!PerformOne(request, url, post, left_ms, response, error)) return false;
    const long status = response->status;
    if (status < 300 || status > 399) return true;
    char* location = nullptr;
    if (curl_easy_getinfo(handle_, CURLINFO_REDIRECT_URL, &location) != CURLE_OK ||
        location == nullptr)
      return true;  // a 3xx without a place to go is the answer
    if (redirects == kMaxRedirects) {
      *error = "more than " + std::to_string(kMaxRedirects) + " redirects";
      return false;
    }
    if (!SameService(url, location)) {
      *error = std::string("redirect to another service refused: ") + location;
      return false;
    }
    if (status == 303 || (post && (status == 301 || status == 302))) post = false;
    url = location;
  }
}

bool Easy::PerformOne(const Request& request, const std::string& url, bool post, long timeout_ms,
                      Response* response, std::string* error) {
  curl_easy_reset(handle_);
  HeaderList headers;
  for (const std::string& line : request.headers) {
    if (!headers.Add(line)) {
      *error = "out of memory";
      return false;
    }
  }
  response->status = 0;
  response->body.clear();
  Sink sink{&response->body, request.max_bytes, false};
  char message[CURL_ERROR_SIZE] = "";

  CURL* h = handle_;
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
#if LIBCURL_VERSION_NUM >= 0x075500
  curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
#else
  curl_easy_setopt(h, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
  // Redirects are followed by Perform, which judges each target first.
  curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT, std::max(1L, request.connect_timeout_seconds));
  curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, timeout_ms);
  curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(request.max_bytes));
  curl_easy_setopt(h, CURLOPT_ACCEPT_ENCODING, "");
  if (!request.user_agent.empty()) curl_easy_setopt(h, CURLOPT_USERAGENT, request.user_agent.c_str());
  if (headers.get() != nullptr) curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers.get());
  if (post) {
    curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.form.size()));
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, request.form.c_str());
  }
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, Write);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink);
  curl_easy_setopt(h, CURLOPT_ERRORBUFFER, message);

  CURLcode code = curl_easy_perform(h);
  // The handle keeps pointers to this call's buffers; drop them before they go.
  curl_easy_setopt(h, CURLOPT_ERRORBUFFER, nullptr);
  curl_easy_setopt(h, CURLOPT_HTTPHEADER, nullptr);
  if (sink.overflowed || code == CURLE_FILESIZE_EXCEEDED) {
    *error = "answer larger than " + std::to_string(request.max_bytes) + " bytes";
    return false;
  }
  if (code != CURLE_OK) {
    *error = message[0] != '\0' ? message : curl_easy_strerror(code);
    return false;
  }
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &response->status);
  return true;
}

std::string Easy::Escape(const std::string& text) {
  GlobalInit();
  char* escaped = curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size()));
  if (escaped == nullptr) return "";
  std::string out = escaped;
  curl_free(escaped);
  return out;
}

}  // namespace curl
