// HTTPFileOutputer: a file as the whole answer of a CGI request.
//
// The header carries the file's type as its first bytes show it (JPEG, PNG,
// GIF, WebP, BMP; else application/octet-stream), its length, its
// modification time as Last-Modified, an ETag made of its inode, size and
// modification time, and "Cache-Control: private, max-age=86400". A request
// whose If-None-Match names that ETag (or "*"), or, without If-None-Match,
// whose If-Modified-Since is not older than the file, gets
// "Status: 304 Not Modified" and no body.
//
// With x_sendfile set in the configuration the web server sends the body:
// the answer carries "X-Sendfile: <path>" instead of the bytes.
//
// The file is opened without following a symbolic link at its last
// component and must be a regular file.
#ifndef CANTORA_PLATFORM_CGI_FILE_OUTPUTER_H
#define CANTORA_PLATFORM_CGI_FILE_OUTPUTER_H

#include <sys/types.h>

#include <cstdio>
#include <ctime>
#include <string>

class HTTPFileOutputer {
 public:
  // Writes the answer for path to the request's output (request_source.h:
  // stdout for a CGI). content_type, when not null,
  // replaces the type found from the bytes. 0 when a file answer (or a 304)
  // was written; negative when the file could not be opened or read, in
  // which case nothing was written.
  static int Output(const char* path, const char* content_type);

  // The request's validators, from its HTTP_IF_NONE_MATCH and HTTP_IF_MODIFIED_SINCE.
  struct Conditions {
    const char* if_none_match = nullptr;
    const char* if_modified_since = nullptr;
  };
  // Output with explicit conditions, output stream and sendfile choice.
  static int OutputTo(FILE* out, const char* path, const char* content_type,
                      const Conditions& conditions, bool x_sendfile);
};

namespace cantora {

// Copies length bytes of fd from offset to out (sendfile when out is stdout,
// else read and write). False when the file ended early or out failed.
bool CopyFileBytes(int fd, off_t offset, off_t length, FILE* out);

// The MIME type of a file from its first bytes.
const char* ContentTypeOfBytes(const unsigned char* head, size_t length);

// An HTTP date ("Sun, 06 Nov 1994 08:49:37 GMT") and its parse; the parse
// gives -1 for text that is no such date.
std::string HttpDate(time_t when);
time_t ParseHttpDate(const char* text);

}  // namespace cantora

#endif
