// The argument vector of a program run without a shell, as posix_spawn and
// execv take it.
#ifndef CANTORA_PLATFORM_PROCESS_EXEC_ARGV_H
#define CANTORA_PLATFORM_PROCESS_EXEC_ARGV_H

#include <string>
#include <vector>

namespace cantora {

// program, then args, then a null pointer. The pointers are into program
// and args, which must outlive the vector and stay unchanged.
inline std::vector<char*> ExecArgv(const std::string& program,
                                   const std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.reserve(args.size() + 2);
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  return argv;
}

}  // namespace cantora

#endif
