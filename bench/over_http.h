// The benchmark's actions over HTTP (http_bench.h), through the deployed
// enumerate.cgi, as a CGI and as resident FastCGI processes, with the
// targets of the resident gateway: small answers within F_http + 0.5 ms
// (1 ms at a million songs), all albums within F_http + 3 ms (25 ms), a
// common word's search 10 ms (15 ms).
#ifndef CANTORA_BENCH_OVER_HTTP_H
#define CANTORA_BENCH_OVER_HTTP_H

#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/options.h"

namespace bench {

// Prints the table; true when every target holds.
bool TimeOverHttp(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& instance, const std::string& music);

}  // namespace bench

#endif
