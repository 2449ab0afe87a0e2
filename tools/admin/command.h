// cantora-admin's command families. Each file of tools/admin/ defines one
// family and registers it with a static AdminCommand object:
//
//   static AdminCommand radio("radio", "edit and refresh station lists", RunRadio);
//
// A family's function gets the arguments after its name (args[0] is the
// first word after the family) and returns the process exit status. Errors
// are one line on stderr via Fail(), which returns the status to exit with.
// Every family answers "--help" (anywhere in its arguments) with its usage
// on stdout and status 0.
#ifndef CANTORA_TOOLS_ADMIN_COMMAND_H
#define CANTORA_TOOLS_ADMIN_COMMAND_H

#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

using AdminArgs = std::vector<std::string>;
using AdminFunction = int (*)(const AdminArgs& args);

struct AdminCommand {
  AdminCommand(const char* name, const char* summary, AdminFunction run);
  const char* name;
  const char* summary;
  AdminFunction run;
};

// Prints "cantora-admin: <message>" on stderr; returns 1.
int Fail(const std::string& message);
// True when args holds "--help" or "-h".
bool WantsHelp(const AdminArgs& args);
// Loads the configuration in force (CANTORA_CONFIG) strictly: a broken or
// missing file is a Fail()ure. Returns false after printing the error.
bool LoadAdminConfig();
// LoadAdminConfig, then opens the instance's database; false after printing
// the error.
bool OpenAdminDatabase(sqlite::Database* db);

#endif
