// Reading a CGI answer as the gateway writes it: header lines ended by
// "\r\n", a blank line, then the body (JSON for the enumerate actions).
#ifndef CANTORA_BENCH_CGI_ANSWER_H
#define CANTORA_BENCH_CGI_ANSWER_H

#include <string>

namespace bench {

// The "total" of a JSON answer, or -1. A header ended by "\n\n" alone is
// read too.
long TotalOf(const std::string& output);

// The id of the first item of a JSON answer's "items", or "".
std::string FirstId(const std::string& output);

// The value of the header line name of an answer, or "".
std::string HeaderOf(const std::string& output, const std::string& name);

}  // namespace bench

#endif
