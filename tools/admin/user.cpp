// cantora-admin user ... and session ...: accounts and sessions.
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "platform/auth/account.h"
#include "platform/config/config.h"
#include "platform/indexer/watch/index_lock.h"
#include "platform/playlist/user_files.h"
#include "tools/admin/command.h"

namespace {

constexpr const char* kUserUsage =
    "usage: cantora-admin user add NAME [--personal] [--password-stdin]\n"
    "       cantora-admin user passwd NAME [--password-stdin]\n"
    "       cantora-admin user personal NAME on|off\n"
    "       cantora-admin user del NAME\n"
    "       cantora-admin user list\n"
    "\n"
    "Passwords are asked on the terminal, or read as one line from standard input\n"
    "with --password-stdin. --personal switches the user's personal library on\n"
    "(<homes>/NAME/<personal_folder>). A new password ends the user's sessions.\n";

constexpr const char* kSessionUsage =
    "usage: cantora-admin session new NAME\n"
    "\n"
    "Opens a session for NAME and prints its id, for scripts and tests.\n";


bool ReadLine(std::istream& in, std::string* line) {
  if (!std::getline(in, *line)) return false;
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return true;
}

// Deletes the account and what it kept in files (its preference folder,
// its random playlist): a later account of the same name starts afresh.
bool DeleteUserAndFiles(sqlite::Database& db, const std::string& name, std::string* error) {
  if (!cantora::IsValidUserName(name)) {
    *error = "no user '" + name + "'";
    return false;
  }
  cantora::UserFilesRemoval files(name);
  if (!files.Begin(error)) return false;
  if (!cantora::DeleteUser(db, name, error)) {
    files.Undo();
    return false;
  }
  return files.Finish(error);
}

// The password from stdin (--password-stdin) or asked twice on the terminal.
bool ReadPassword(bool from_stdin, std::string* password) {
  if (from_stdin) {
    if (!ReadLine(std::cin, password) || password->empty()) {
      Fail("no password on standard input");
      return false;
    }
    return true;
  }
  if (!isatty(STDIN_FILENO)) {
    Fail("no terminal to ask the password on; use --password-stdin");
    return false;
  }
  termios old_mode;
  tcgetattr(STDIN_FILENO, &old_mode);
  termios quiet = old_mode;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  std::string again;
  std::fputs("password: ", stderr);
  bool ok = ReadLine(std::cin, password);
  std::fputs("\nagain: ", stderr);
  ok = ok && ReadLine(std::cin, &again);
  std::fputs("\n", stderr);
  tcsetattr(STDIN_FILENO, TCSANOW, &old_mode);
  if (!ok || password->empty() || *password != again) {
    Fail(ok && !password->empty() ? "the passwords differ" : "no password given");
    return false;
  }
  return true;
}

struct Words {
  std::vector<std::string> positional;
  bool personal = false;
  bool password_stdin = false;
  std::string unknown;
};

Words Split(const AdminArgs& args) {
  Words w;
  for (const std::string& a : args) {
    if (a == "--personal") w.personal = true;
    else if (a == "--password-stdin") w.password_stdin = true;
    else if (a.size() > 1 && a[0] == '-') w.unknown = a;
    else w.positional.push_back(a);
  }
  return w;
}

int RunUser(const AdminArgs& args) {
  Words w = Split(args);
  if (!w.unknown.empty()) return Fail("user: unknown option " + w.unknown);
  if (w.positional.empty()) return Fail("user: which command? (see cantora-admin user --help)");
  const std::string& cmd = w.positional[0];
  size_t wanted = cmd == "list" ? 1 : cmd == "personal" ? 3 : 2;
  if (cmd != "add" && cmd != "passwd" && cmd != "del" && cmd != "list" && cmd != "personal")
    return Fail("user: unknown command '" + cmd + "'");
  if (w.positional.size() != wanted)
    return Fail("user " + cmd + ": wrong number of arguments (see cantora-admin user --help)");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string error, password;
  if (cmd == "list") {
    std::vector<cantora::User> users;
    if (!cantora::ListUsers(db, &users, &error)) return Fail("user list: " + error);
    for (const cantora::User& u : users)
      std::printf("%lld\t%s\t%s\n", static_cast<long long>(u.id), u.name.c_str(),
                  u.personal ? "personal" : "-");
    return 0;
  }
  const std::string& name = w.positional[1];
  bool ok = false;
  if (cmd == "add") {
    if (!cantora::IsValidUserName(name)) return Fail("user add: invalid user name '" + name + "'");
    if (!ReadPassword(w.password_stdin, &password)) return 1;
    ok = cantora::AddUser(db, name, password, w.personal, &error);
  } else if (cmd == "passwd") {
    if (!ReadPassword(w.password_stdin, &password)) return 1;
    ok = cantora::SetPassword(db, name, password, &error);
  } else if (cmd == "personal") {
    const std::string& state = w.positional[2];
    if (state != "on" && state != "off") return Fail("user personal: say on or off");
    ok = cantora::SetPersonalLibrary(db, name, state == "on", &error);
  } else {
    ok = DeleteUserAndFiles(db, name, &error);
  }
  if (!ok) return Fail("user " + cmd + ": " + error);
  // A personal library came or went: a running watcher reads the set again.
  if (cmd != "passwd") cantora::NotifyIndexWatcher(cantora::GetConfig().database);
  return 0;
}

int RunSession(const AdminArgs& args) {
  if (args.size() != 2 || args[0] != "new")
    return Fail("session: usage: cantora-admin session new NAME");
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  std::string id, error;
  if (!cantora::NewSession(db, args[1], &id, &error)) return Fail("session new: " + error);
  std::printf("%s\n", id.c_str());
  return 0;
}

AdminCommand user_command("user", "add, change, list and delete accounts", kUserUsage, RunUser);
AdminCommand session_command("session", "open a session for a user", kSessionUsage, RunSession);

}  // namespace
