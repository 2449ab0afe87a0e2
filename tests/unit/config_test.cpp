#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "platform/config/config.h"

namespace {

std::string WriteTemp(const std::string& text) {
  char path[] = "/tmp/cantora-conf-XXXXXX";
  int fd = mkstemp(path);
  close(fd);
  std::ofstream(path) << text;
  return path;
}

TEST(Config, KeysCommentsAndDefaults) {
  std::string path = WriteTemp("# comment\n\nroot = /srv/x\n  database=/d/c.db  \nunknown = 1\nradio_timeout = 3\n");
  cantora::Config c;
  std::string error;
  ASSERT_TRUE(cantora::LoadConfigFile(path, &c, &error)) << error;
  EXPECT_EQ(c.root, "/srv/x");
  EXPECT_EQ(c.database, "/d/c.db");
  EXPECT_EQ(c.radio_timeout, 3);
  EXPECT_EQ(c.homes, "/home");
  std::remove(path.c_str());
}

TEST(Config, MalformedLinesAndNumbersAreErrorsNamingTheLine) {
  cantora::Config c;
  std::string error;
  std::string path = WriteTemp("root = /x\nthis is not a setting\n");
  EXPECT_FALSE(cantora::LoadConfigFile(path, &c, &error));
  EXPECT_NE(error.find(":2:"), std::string::npos) << error;
  std::remove(path.c_str());
  path = WriteTemp("session_lifetime = soon\n");
  EXPECT_FALSE(cantora::LoadConfigFile(path, &c, &error));
  std::remove(path.c_str());
  EXPECT_FALSE(cantora::LoadConfigFile("/nonexistent/cantora.conf", &c, &error));
}

TEST(Config, SystemPathsResolveUnderTheRoot) {
  cantora::Config saved = cantora::GetConfig();
  cantora::Config c;
  c.root = "/srv/inst/";
  cantora::SetConfig(c);
  EXPECT_EQ(cantora::ResolveSystemPath("/usr/zarn/etc/radio"), "/srv/inst/usr/zarn/etc/radio");
  c.root = "/";
  cantora::SetConfig(c);
  EXPECT_EQ(cantora::ResolveSystemPath("/tmp/x"), "/tmp/x");
  cantora::SetConfig(saved);
}

}  // namespace

// A configuration set by a tool or a test is kept as set: only one read
// from its file follows the file.
TEST(Config, ASetConfigurationIsNotReadAgain) {
  const cantora::Config saved = cantora::GetConfig();
  cantora::Config c;
  c.root = "/set/by/hand";
  cantora::SetConfig(c);
  EXPECT_FALSE(cantora::ReloadConfigIfChanged());
  EXPECT_EQ("/set/by/hand", cantora::GetConfig().root);
  cantora::SetConfig(saved);
}
