// cantora-admin: set-up commands, and one clear line for every error.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/blackbox.h"
#include "tests/support/admin_errors.h"
#include "tests/support/harness.h"

namespace {

using namespace blackbox;
using harness::ExpectOneLineError;

TEST(Admin, HelpEverywhere) {
  Instance instance;
  for (std::vector<std::string> args :
       {std::vector<std::string>{"--help"}, {"init", "--help"}, {"user", "--help"},
        {"user", "add", "--help"}, {"session", "--help"}}) {
    CommandResult r = instance.Admin(args);
    EXPECT_EQ(r.status, 0) << args[0];
    EXPECT_NE(r.out.find("usage"), std::string::npos) << args[0];
  }
}

TEST(Admin, InitRefusesAnExistingInstance) {
  Instance instance;
  ExpectOneLineError(harness::Run({harness::Bin("cantora-admin"), "init", instance.dir()}));
}

TEST(Admin, InitMakesASelfContainedInstance) {
  Instance instance;
  EXPECT_EQ(instance.config(), instance.dir() + "/cantora.conf");
  CommandResult r = harness::Run({"/bin/cat", instance.config()});
  EXPECT_NE(r.out.find("root = " + instance.dir() + "\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("database = " + instance.dir() + "/"), std::string::npos);
}

// init runs as root in a folder that may hold entries already: a link in
// it must not have another folder of the box given to the web server's user.
TEST(Admin, InitFollowsNoLinkInItsFolder) {
  char base[] = "/tmp/cantora-init-XXXXXX";
  ASSERT_NE(mkdtemp(base), nullptr);
  const std::string victim = std::string(base) + "/victim";
  ASSERT_EQ(mkdir(victim.c_str(), 0750), 0);
  for (const char* planted : {"tmp", "preferences", "data", "data/cantora.db", "var/packages",
                              "cache"}) {
    SCOPED_TRACE(planted);
    const std::string dir = std::string(base) + "/inst-" + std::to_string(std::rand());
    const std::string link = dir + "/" + planted;
    harness::Run({"/bin/mkdir", "-p", link.substr(0, link.rfind('/'))});
    ASSERT_EQ(symlink(victim.c_str(), link.c_str()), 0);
    ExpectOneLineError(
        harness::Run({harness::Bin("cantora-admin"), "init", dir, "--web-user", "nobody"}));
    struct stat st;
    ASSERT_EQ(stat(victim.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, 0u);
    EXPECT_EQ(st.st_gid, 0u);
    EXPECT_EQ(st.st_mode & 07777, 0750u);
    EXPECT_EQ(harness::Run({"/bin/ls", "-A", victim}).out, "");
  }
  // A plain file where a folder is to be is refused as well.
  const std::string dir = std::string(base) + "/with-file";
  harness::Run({"/bin/mkdir", "-p", dir});
  harness::Run({"/usr/bin/touch", dir + "/tmp"});
  CommandResult file = harness::Run({harness::Bin("cantora-admin"), "init", dir});
  ExpectOneLineError(file);
  EXPECT_NE(file.err.find(dir + "/tmp exists and is not a folder"), std::string::npos) << file.err;
  harness::Run({"/bin/rm", "-rf", base});
}

TEST(Admin, Users) {
  Instance instance;
  EXPECT_EQ(instance.Admin({"user", "add", "alice", "--password-stdin"}, "pw\n").status, 0);
  EXPECT_EQ(instance.Admin({"user", "add", "bob", "--personal", "--password-stdin"}, "pw\n").status, 0);
  CommandResult list = instance.Admin({"user", "list"});
  EXPECT_EQ(list.status, 0);
  EXPECT_NE(list.out.find("\talice\t-\n"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("\tbob\tpersonal\n"), std::string::npos) << list.out;
  ExpectOneLineError(instance.Admin({"user", "add", "alice", "--password-stdin"}, "pw\n"));
  ExpectOneLineError(instance.Admin({"user", "add", "../x", "--password-stdin"}, "pw\n"));
  ExpectOneLineError(instance.Admin({"user", "add", "carol", "--password-stdin"}, ""));
  ExpectOneLineError(instance.Admin({"user", "add", "carol"}, "pw\n"));
  ExpectOneLineError(instance.Admin({"user", "del", "nobody-here"}));
  ExpectOneLineError(instance.Admin({"user", "frobnicate", "x"}));
  ExpectOneLineError(instance.Admin({"user", "add", "x", "--bogus"}));
  ExpectOneLineError(instance.Admin({"session", "new", "nobody-here"}));
  ExpectOneLineError(instance.Admin({"nosuchcommand"}));
  // A password sign-in would never accept is refused, not stored.
  const std::string longest(1024, 'p'), too_long(1025, 'p');
  ExpectOneLineError(instance.Admin({"user", "add", "carol", "--password-stdin"}, too_long + "\n"));
  EXPECT_EQ(instance.Admin({"user", "list"}).out.find("carol"), std::string::npos);
  ExpectOneLineError(instance.Admin({"user", "passwd", "alice", "--password-stdin"}, too_long + "\n"));
  EXPECT_EQ(instance.Admin({"user", "add", "carol", "--password-stdin"}, longest + "\n").status, 0);
  EXPECT_EQ(instance.Admin({"user", "passwd", "alice", "--password-stdin"}, "new\n").status, 0);
  EXPECT_EQ(instance.Admin({"user", "del", "alice"}).status, 0);
  EXPECT_EQ(instance.Admin({"user", "list"}).out.find("alice"), std::string::npos);
}

TEST(Admin, SessionOfADeletedUserIsDead) {
  Instance instance;
  std::string sid = instance.AddUser("alice");
  ASSERT_EQ(instance.Admin({"user", "del", "alice"}).status, 0);
  EXPECT_EQ(harness::Enumerate(instance, sid, "action=radio_enum").out, "");
}

TEST(Admin, MissingConfigurationIsOneLine) {
  ExpectOneLineError(harness::Run({harness::Bin("cantora-admin"), "user", "list"},
                                  {{"CANTORA_CONFIG", "/nonexistent/cantora.conf"}}));
}

}  // namespace
