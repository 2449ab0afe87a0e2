#include "bench/deployed.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "bench/process_timer.h"
#include "bench/time_actions.h"

namespace bench {

WebUser FindWebUser(const std::string& wanted) {
  for (const std::string& name : {wanted, std::string("www-data"), std::string("nobody")}) {
    if (name.empty()) continue;
    if (struct passwd* pw = getpwnam(name.c_str())) return {name, pw->pw_uid, pw->pw_gid};
    if (!wanted.empty()) Die("no user " + wanted);
  }
  Die("no web server user (www-data or nobody); say --web-user");
}

std::string InstallDeployed(const Options& o, const std::string& bin) {
  const std::string cgi_dir = o.dir + "/cgi-bin";
  const std::string program = cgi_dir + "/enumerate.cgi";
  mkdir(cgi_dir.c_str(), 0755);
  if (!Run({"/usr/bin/install", "-m", "4755", "-o", "root", "-g", "root", bin + "/enumerate.cgi",
            program}))
    Die("cannot install " + program);
  chmod(o.dir.c_str(), 0755);  // mkdtemp's folder is root's alone
  return program;
}

bool TimeDeployed(const Options& o, const std::string& bin, const std::vector<Action>& actions,
                  const std::string& session, const std::string& config,
                  const std::string& floor_program, double f) {
  WebUser web = FindWebUser(o.web_user);
  const std::string program = InstallDeployed(o, bin);
  std::fflush(stdout);
  pid_t pid = fork();
  if (pid == 0) {
    if (setgroups(0, nullptr) != 0 || setresgid(web.gid, web.gid, web.gid) != 0 ||
        setresuid(web.uid, web.uid, web.uid) != 0)
      _exit(2);
    std::string title = "deployed (setuid root, started as " + web.name + ")";
    bool ok = TimeActions(title.c_str(), program, actions, session, config, floor_program, f,
                          o.runs);
    std::fflush(stdout);
    _exit(ok ? 0 : 1);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
      WEXITSTATUS(status) == 2)
    Die("cannot run as " + web.name);
  return WEXITSTATUS(status) == 0;
}

}  // namespace bench
