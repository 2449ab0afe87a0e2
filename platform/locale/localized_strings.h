// The UI's localised texts: one folder per language under
// <root>/var/packages/Cantora/target/app/texts/, each holding a file
// "strings" in INI form:
//
//   [common]
//   random_playlist = "Random 100"
//
// Lines starting with '#' or ';' are comments. A value may be quoted
// (backslash escapes \" \\ \n \t inside quotes) or bare (trimmed).
#ifndef CANTORA_PLATFORM_LOCALE_LOCALIZED_STRINGS_H
#define CANTORA_PLATFORM_LOCALE_LOCALIZED_STRINGS_H

#include <json/json.h>

#include <string>
#include <string_view>

namespace ZARN {
namespace PVX {

class LocalizedStringParser {
 public:
  // The texts of the language folder dir ("<dir>/strings") as an object of
  // sections, each an object of keys and their texts. An empty object when
  // the file is missing or unreadable; lines that do not parse are skipped.
  static Json::Value ParseTexts(const std::string& dir);
  // The same, from the text of a strings file.
  static Json::Value ParseText(std::string_view text);
};

}  // namespace PVX
}  // namespace ZARN

#endif
