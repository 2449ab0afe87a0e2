#include "platform/lib/curl/easy.h"

#include <curl/curl.h>

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

}  // namespace

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
  curl_easy_setopt(h, CURLOPT_URL, request.url.c_str());
#if LIBCURL_VERSION_NUM >= 0x075500
  curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
#else
  curl_easy_setopt(h, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
  curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
  curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(h, CURLOPT_MAXREDIRS, 5L);
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT, request.connect_timeout_seconds);
  curl_easy_setopt(h, CURLOPT_TIMEOUT, request.timeout_seconds);
  curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(request.max_bytes));
  curl_easy_setopt(h, CURLOPT_ACCEPT_ENCODING, "");
  if (!request.user_agent.empty()) curl_easy_setopt(h, CURLOPT_USERAGENT, request.user_agent.c_str());
  if (headers.get() != nullptr) curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers.get());
  if (request.post) {
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
