// The gateway as a box deploys it: enumerate.cgi owned by root with the
// setuid bit, started by the web server's account, whose privilege guard
// then really changes ids around every song's file test.
#ifndef CANTORA_BENCH_DEPLOYED_H
#define CANTORA_BENCH_DEPLOYED_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/options.h"

namespace bench {

// The web server's account: wanted (--web-user), else www-data, else
// nobody. Stops the benchmark (Die) when there is none.
struct WebUser {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};
WebUser FindWebUser(const std::string& wanted);

// Installs bin's enumerate.cgi as a box does, in o.dir/cgi-bin; returns its
// path.
std::string InstallDeployed(const Options& o, const std::string& bin);

// Times the actions through the deployed enumerate.cgi (TimeActions) from a
// child that has become the web server's user, as the server's CGIs are
// started. True when every target holds.
bool TimeDeployed(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& floor_program, double f);

}  // namespace bench

#endif
