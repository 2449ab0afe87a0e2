// A throw-away root for the radio tests: <root>/usr/zarn/etc/radio, the
// configuration in force in this process, and the same configuration in a
// file named by CANTORA_CONFIG, which the refresh helper program reads.
//
// The directory address starts as a closed port on 127.0.0.1, so that a
// refresh a test did not ask for fails at once and reaches nothing.
#ifndef CANTORA_TESTS_UNIT_RADIO_ROOT_H
#define CANTORA_TESTS_UNIT_RADIO_ROOT_H

#include <fcntl.h>
#include <ftw.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/config/config.h"
#include "tests/support/recorded_server.h"

class RadioRoot {
 public:
  RadioRoot() : saved_(cantora::GetConfig()) {
    const char* env = std::getenv("CANTORA_CONFIG");
    had_env_ = env != nullptr;
    if (had_env_) saved_env_ = env;
    char dir[] = "/tmp/cantora-radio-XXXXXX";
    if (mkdtemp(dir) == nullptr) ADD_FAILURE() << "mkdtemp";
    root_ = dir;
    for (const char* sub : {"/usr", "/usr/zarn", "/usr/zarn/etc", "/usr/zarn/etc/radio"})
      mkdir((root_ + sub).c_str(), 0755);
    config_.root = root_;
    config_.libexec = CANTORA_BIN_DIR;
    config_.shoutcast_url = "http://127.0.0.1:" + std::to_string(testserver::ClosedPort()) + "/";
    config_.shoutcast_tune_url = "http://tune.invalid/play?id=";
    config_.radio_connect_timeout = 2;
    config_.radio_timeout = 1;
    config_.radio_max_bytes = 4096;
    Apply();
  }

  ~RadioRoot() {
    cantora::SetConfig(saved_);
    if (had_env_) {
      setenv("CANTORA_CONFIG", saved_env_.c_str(), 1);
    } else {
      unsetenv("CANTORA_CONFIG");
    }
    nftw(root_.c_str(), [](const char* path, const struct stat*, int, FTW*) { return remove(path); },
         16, FTW_DEPTH | FTW_PHYS);
  }

  RadioRoot(const RadioRoot&) = delete;
  RadioRoot& operator=(const RadioRoot&) = delete;

  cantora::Config& config() { return config_; }
  // Puts config() in force, in this process and in the file.
  void Apply() {
    cantora::SetConfig(config_);
    const std::string file = root_ + "/cantora.conf";
    std::ofstream out(file);
    out << "root = " << config_.root << "\n"
        << "libexec = " << config_.libexec << "\n"
        << "shoutcast_url = " << config_.shoutcast_url << "\n"
        << "shoutcast_tune_url = " << config_.shoutcast_tune_url << "\n"
        << "radio_connect_timeout = " << config_.radio_connect_timeout << "\n"
        << "radio_timeout = " << config_.radio_timeout << "\n"
        << "radio_max_bytes = " << config_.radio_max_bytes << "\n";
    setenv("CANTORA_CONFIG", file.c_str(), 1);
  }

  const std::string& root() const { return root_; }
  std::string RadioDir() const { return root_ + "/usr/zarn/etc/radio"; }
  std::string Path(const std::string& name) const { return RadioDir() + "/" + name; }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  Json::Value ReadJson(const std::string& name) const {
    Json::Value value;
    std::ifstream in(Path(name), std::ios::binary);
    Json::Reader reader;
    EXPECT_TRUE(reader.parse(in, value)) << name;
    return value;
  }
  // Sets the modification time of name to now - seconds; returns that now.
  time_t SetAge(const std::string& name, long seconds) const {
    time_t now = time(nullptr);
    struct timespec times[2];
    times[0].tv_sec = now;
    times[0].tv_nsec = 0;
    times[1].tv_sec = now - seconds;
    times[1].tv_nsec = 0;
    EXPECT_EQ(utimensat(AT_FDCWD, Path(name).c_str(), times, 0), 0) << name;
    return now;
  }

 private:
  cantora::Config saved_;
  cantora::Config config_;
  bool had_env_ = false;
  std::string saved_env_;
  std::string root_;
};

// Data of the recorded directory answers.
inline std::string RadioDataDir() { return std::string(CANTORA_SOURCE_DIR) + "/tests/data/radio"; }

#endif
