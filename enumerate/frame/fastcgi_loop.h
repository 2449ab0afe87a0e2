// enumerate.cgi as a resident FastCGI application: one process, request
// after request, each answered exactly as the CGI answers its one.
#ifndef CANTORA_ENUMERATE_FRAME_FASTCGI_LOOP_H
#define CANTORA_ENUMERATE_FRAME_FASTCGI_LOOP_H

#include "platform/lib/fcgi/fcgi.h"

// Answers the request in force (cantora::CurrentRequest()).
using AnswerRequest = void (*)();

// Serves requests from listener until the web server closes it, answering
// each with answer() while the request's parameters, body and answer stream
// are the request source. After every request the process's ids must be
// those it had on entry (the web server's, as DropToRealIds left them);
// otherwise the failure is logged and the loop ends. Returns the process's
// exit status.
int ServeFastCgi(const fcgi::Listener& listener, AnswerRequest answer);

#endif
