#include "platform/cgi/ui_language.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <vector>

#include "platform/text/trim.h"

namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

namespace cantora {

std::string ShippedLanguage(std::string_view tag) {
  std::string t = Lower(cantora::TrimSpace(tag));
  std::replace(t.begin(), t.end(), '_', '-');
  std::string primary = t.substr(0, t.find('-'));
  for (const char* simple : {"en", "de", "fr", "es", "ja"})
    if (primary == simple) return simple;
  if (primary == "zh") {
    // Simplified Chinese, unless the tag asks for the traditional script or
    // a region that writes it.
    for (const char* traditional : {"zh-hant", "zh-tw", "zh-hk", "zh-mo"})
      if (t.compare(0, std::string(traditional).size(), traditional) == 0) return "";
    return "zh-Hans";
  }
  return "";
}

std::string LanguageOfAcceptLanguage(std::string_view header) {
  struct Choice {
    double q;
    size_t order;
    std::string language;
  };
  std::vector<Choice> choices;
  size_t pos = 0, order = 0;
  while (pos <= header.size()) {
    size_t comma = header.find(',', pos);
    if (comma == std::string_view::npos) comma = header.size();
    std::string_view item = header.substr(pos, comma - pos);
    pos = comma + 1;
    size_t semi = item.find(';');
    std::string_view tag = cantora::TrimSpace(item.substr(0, semi));
    double q = 1;
    if (semi != std::string_view::npos) {
      std::string_view param = cantora::TrimSpace(item.substr(semi + 1));
      if (param.size() > 2 && (param[0] == 'q' || param[0] == 'Q') && param[1] == '=')
        q = std::strtod(std::string(param.substr(2)).c_str(), nullptr);
    }
    std::string language = ShippedLanguage(tag);
    if (q > 0 && !language.empty()) choices.push_back({q, order++, language});
  }
  if (choices.empty()) return "";
  return std::min_element(choices.begin(), choices.end(),
                          [](const Choice& a, const Choice& b) {
                            return a.q != b.q ? a.q > b.q : a.order < b.order;
                          })
      ->language;
}

}  // namespace cantora
