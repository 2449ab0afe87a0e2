// cantora-admin's command families. Each file of tools/admin/ defines one
// family and registers it with a static AdminCommand object:
//
//   static AdminCommand radio("radio", "edit and refresh station lists", kRadioUsage, RunRadio);
//
// A family's function gets the arguments after its name (args[0] is the
// first word after the family) and returns the process exit status. Errors
// are one line on stderr via Fail(), which returns the status to exit with.
// "--help" or "-h" anywhere in a family's arguments prints its usage on
// stdout instead, with status 0; the family's function is not called.
#ifndef CANTORA_TOOLS_ADMIN_COMMAND_H
#define CANTORA_TOOLS_ADMIN_COMMAND_H

#include <string>
#include <vector>

#include "platform/lib/sqlite/database.h"

using AdminArgs = std::vector<std::string>;
using AdminFunction = int (*)(const AdminArgs& args);

struct AdminCommand {
  AdminCommand(const char* name, const char* summary, const char* usage, AdminFunction run);
  const char* name;
  const char* summary;
  const char* usage;
  AdminFunction run;
};

// Prints "cantora-admin: <message>" on stderr; returns 1.
int Fail(const std::string& message);
// Loads the configuration in force (CANTORA_CONFIG) strictly: a broken or
// missing file is a Fail()ure. Returns false after printing the error.
bool LoadAdminConfig();
// LoadAdminConfig, then opens the instance's database; false after printing
// the error.
bool OpenAdminDatabase(sqlite::Database* db);

#endif
