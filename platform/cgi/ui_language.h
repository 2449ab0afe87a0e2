// The UI languages the package ships texts for (en, de, fr, es, ja,
// zh-Hans), and how a client's language tags map onto them.
#ifndef CANTORA_PLATFORM_CGI_UI_LANGUAGE_H
#define CANTORA_PLATFORM_CGI_UI_LANGUAGE_H

#include <string>
#include <string_view>

namespace cantora {

// The shipped language a language tag asks for ("de-CH" -> "de"; "zh",
// "zh-CN", "zh-SG", "zh-Hans" -> "zh-Hans"), case and '_' for '-' ignored;
// empty when none fits (traditional Chinese included).
std::string ShippedLanguage(std::string_view tag);

// The shipped language an Accept-Language header asks for first (highest
// q-value, then earliest); empty when none fits.
std::string LanguageOfAcceptLanguage(std::string_view header);

}  // namespace cantora

#endif
