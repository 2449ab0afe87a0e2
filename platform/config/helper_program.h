// The platform's helper programs: small programs that do, in a process of
// their own, what the statically linked CGIs must not carry (an HTTP client,
// image codecs). They are started without a shell and waited for.
#ifndef CANTORA_PLATFORM_CONFIG_HELPER_PROGRAM_H
#define CANTORA_PLATFORM_CONFIG_HELPER_PROGRAM_H

#include <string>
#include <vector>

namespace cantora {

// Where a helper is looked for: Config::libexec, else the folder of the
// running program (a build tree, or an installation that keeps its programs
// together). Empty when neither holds an executable of that name.
std::string HelperProgramPath(const char* name);

// Runs program with args (argv[0] is the program), without a shell. The
// helper inherits the environment and stderr; its stdout goes to our stderr,
// never into a CGI's answer; its stdin is stdin_fd when not negative. Returns
// its exit status, or -1 when it could not be run or died of a signal (the
// reason is logged).
int RunHelperProgram(const std::string& program, const std::vector<std::string>& args,
                     int stdin_fd = -1);

}  // namespace cantora

#endif
