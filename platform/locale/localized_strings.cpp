#include "platform/locale/localized_strings.h"

#include <fstream>
#include <sstream>

#include "platform/text/trim.h"

namespace {

// A quoted value without its quotes, escapes undone; a bare value as it is.
std::string ValueText(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  std::string out;
  for (size_t i = 1; i + 1 < value.size(); ++i) {
    char c = value[i];
    if (c == '\\' && i + 2 < value.size()) {
      char e = value[++i];
      out.push_back(e == 'n' ? '\n' : e == 't' ? '\t' : e);
    } else {
      out.push_back(c);
    }
  }
  return out;
}

}  // namespace

namespace ZARN {
namespace PVX {

Json::Value LocalizedStringParser::ParseText(std::string_view text) {
  Json::Value texts(Json::objectValue);
  if (text.size() >= 3 && text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.remove_prefix(3);
  std::string section;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = cantora::TrimSpace(text.substr(pos, end - pos));
    pos = end + 1;
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    if (line.front() == '[') {
      if (line.back() == ']')
        section = std::string(cantora::TrimSpace(line.substr(1, line.size() - 2)));
      continue;
    }
    size_t eq = line.find('=');
    if (eq == std::string_view::npos || section.empty()) continue;
    std::string key(cantora::TrimSpace(line.substr(0, eq)));
    if (key.empty()) continue;
    texts[section][key] = ValueText(cantora::TrimSpace(line.substr(eq + 1)));
  }
  return texts;
}

Json::Value LocalizedStringParser::ParseTexts(const std::string& dir) {
  std::ifstream in(dir + "/strings", std::ios::binary);
  if (!in) return Json::Value(Json::objectValue);
  std::ostringstream text;
  text << in.rdbuf();
  return ParseText(text.str());
}

}  // namespace PVX
}  // namespace ZARN
