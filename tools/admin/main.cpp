// cantora-admin: the administrator's command.
//
//   cantora-admin <family> <command> [arguments]   (see --help)
//
// Every error is one line on stderr and a non-zero exit status.
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/config/config.h"
#include "platform/config/platform_db.h"
#include "platform/index/sql_functions.h"
#include "tools/admin/command.h"

namespace {

std::vector<AdminCommand*>& Families() {
  static std::vector<AdminCommand*> families;
  return families;
}

void Usage(FILE* out) {
  std::fputs("usage: cantora-admin <command> [arguments]\n\ncommands:\n", out);
  for (const AdminCommand* c : Families()) std::fprintf(out, "  %-10s %s\n", c->name, c->summary);
  std::fputs("\n'cantora-admin <command> --help' describes each one. The instance is the one\n"
             "named by CANTORA_CONFIG (default /etc/cantora/cantora.conf).\n",
             out);
}

// True when args holds "--help" or "-h".
bool WantsHelp(const AdminArgs& args) {
  for (const std::string& a : args)
    if (a == "--help" || a == "-h") return true;
  return false;
}

}  // namespace

AdminCommand::AdminCommand(const char* n, const char* s, const char* u, AdminFunction r)
    : name(n), summary(s), usage(u), run(r) {
  Families().push_back(this);
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "cantora-admin: %s\n", message.c_str());
  return 1;
}


bool LoadAdminConfig() {
  cantora::Config config;
  std::string path = cantora::ConfigFilePath(), error;
  if (!cantora::LoadConfigFile(path, &config, &error)) {
    Fail(error);
    return false;
  }
  cantora::SetConfig(config);
  return true;
}

bool OpenAdminDatabase(sqlite::Database* db) {
  if (!LoadAdminConfig()) return false;
  std::string error;
  if (!cantora::OpenPlatformDatabase(cantora::GetConfig().database, false, db, &error)) {
    Fail("database " + cantora::GetConfig().database + ": " + error);
    return false;
  }
  // Deleting a user or switching a personal library off takes songs out of
  // the index, whose triggers use the index's own functions.
  if (!cantora::RegisterIndexFunctions(db->get())) {
    Fail("cannot register the index's SQL functions");
    return false;
  }
  return true;
}

int main(int argc, char** argv) {
  if (argc < 2) {
    Usage(stderr);
    return 2;
  }
  std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    Usage(stdout);
    return 0;
  }
  AdminArgs args(argv + 2, argv + argc);
  for (const AdminCommand* c : Families()) {
    if (name != c->name) continue;
    if (WantsHelp(args)) {
      std::fputs(c->usage, stdout);
      return 0;
    }
    return c->run(args);
  }
  return Fail("unknown command '" + name + "' (see cantora-admin --help)");
}
