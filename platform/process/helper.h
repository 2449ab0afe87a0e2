// The platform's helper programs (cantora-radio-fetch, cantora-lyrics-fetch,
// cantora-cover-scale): small programs that carry what the statically linked
// CGIs must not (an HTTP and TLS library, image codecs), found beside the
// platform and run without a shell.
#ifndef CANTORA_PLATFORM_PROCESS_HELPER_H
#define CANTORA_PLATFORM_PROCESS_HELPER_H

#include <string>
#include <vector>

namespace cantora {

// Where the helper named name is looked for: Config::libexec, else the
// folder of the running program (a build tree, or an installation that keeps
// its programs together). Empty when neither holds an executable helper.
std::string HelperProgramPath(const std::string& name);

// Runs program with args (argv[1...]) and waits for it. The helper inherits
// the environment (and so CANTORA_CONFIG) and stderr; its stdout goes to our
// stderr, never into a CGI's answer; its stdin is stdin_fd when not
// negative. Started while the process is not root (a setuid gateway outside
// its privilege guard), the helper runs with the real user and group ids:
// the effective ones there, and exec makes them its saved ids too.
// Returns its exit status, or -1 when it could not be run or died
// of a signal (logged at LOG_ERR with log_tag).
int RunHelper(const std::string& program, const std::vector<std::string>& args,
              const char* log_tag, int stdin_fd = -1);

}  // namespace cantora

#endif
