// Fuzz target: a CGI request as the web server hands it over. The input is
// split into query string, content type, body and cookie header at the
// first three NUL bytes; every parameter is then looked up, as handlers do.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/cgi/webman.h"

namespace {

std::string NextPart(const uint8_t** data, size_t* size) {
  const uint8_t* start = *data;
  size_t n = 0;
  while (n < *size && start[n] != 0) ++n;
  std::string part(reinterpret_cast<const char*>(start), n);
  size_t used = n < *size ? n + 1 : n;
  *data += used;
  *size -= used;
  return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string query = NextPart(&data, &size);
  std::string content_type = NextPart(&data, &size);
  std::string body = NextPart(&data, &size);
  std::string cookie(reinterpret_cast<const char*>(data), size);
  for (const char* method : {"GET", "POST"}) {
    cantora::WebMan web =
        cantora::WebMan::FromParts(method, query, content_type, body, cookie, 1 << 16);
    for (const char* name : {"action", "library", "album_name", "_sid", "passwd", "lang", ""})
      (void)web.In(name);
    (void)web.GetSessionID();
    (void)web.Cookie("id");
    (void)web.GetUILanguage();
    (void)cantora::UrlDecode(query, true);
  }
  return 0;
}
