#include "platform/radio/shoutcast_update.h"

#include <syslog.h>

#include "platform/config/config.h"
#include "platform/process/helper.h"

namespace cantora {

const char* const kRadioFetchProgram = "cantora-radio-fetch";

std::string ShoutcastGenreOfStem(const std::string& stem) {
  const size_t length = sizeof(kShoutcastStemPrefix) - 1;
  if (stem.compare(0, length, kShoutcastStemPrefix) != 0) return "";
  return stem.substr(length);
}

std::string RadioFetchProgramPath() { return HelperProgramPath(kRadioFetchProgram); }

int UpdateShoutcastGenre(const std::string& stem) {
  // The stem becomes a file name in the radio folder: no way out of it.
  if (ShoutcastGenreOfStem(stem).empty() || stem.find('/') != std::string::npos ||
      stem.find('\0') != std::string::npos) {
    return -1;
  }
  const std::string program = RadioFetchProgramPath();
  if (program.empty()) {
    syslog(LOG_ERR, "radio: %s not found in %s nor beside this program", kRadioFetchProgram,
           GetConfig().libexec.c_str());
    return -1;
  }
  return RunHelper(program, {stem}, "radio");
}

}  // namespace cantora
