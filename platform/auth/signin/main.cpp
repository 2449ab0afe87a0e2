// auth.cgi: signs a mobile client in and out.
//
//   POST account=<name>&passwd=<password>[&lang=<language tag>]
//     {"success":true,"sid":"<session id>"} and the cookie "id"
//     {"success":false,"error":"invalid account or password"} otherwise
//   method=logout (the session from the cookie "id" or "_sid")
//     {"success":true}, and the cookie is cleared
//
// Passwords are accepted in POST bodies only, never in the query string
// (which servers log). The exit status is 0 whatever happened.
#include <cstdlib>
#include <cstring>

#include "platform/auth/account.h"
#include "platform/cgi/ui_language.h"
#include "platform/cgi/server_form_handler.h"
#include "platform/config/platform_db.h"

namespace {

constexpr const char* kContentType = "text/plain; charset=\"UTF-8\"";

class SignInHandler : public ServerFormHandler {
 public:
  SignInHandler() : ServerFormHandler("auth") {}

  void Run() override {
    Json::Value answer(Json::objectValue);
    std::vector<std::string> headers;
    sqlite::Database* db = cantora::PlatformDatabase();
    const char* method = web_.In("method", "login");
    if (db == nullptr) {
      Fail(&answer, "service unavailable");
    } else if (std::strcmp(method, "logout") == 0) {
      cantora::EndSession(*db, web_.GetSessionID());
      answer["success"] = true;
      headers.push_back("Set-Cookie: id=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict");
    } else if (std::strcmp(method, "login") != 0) {
      Fail(&answer, "unknown method");
    } else if (web_.BodyRejected()) {
      Fail(&answer, "request too large or malformed");
    } else if (web_.Method() != "POST" || web_.InQueryString("passwd")) {
      Fail(&answer, "sign in with POST");
    } else {
      SignIn(*db, &answer, &headers);
    }
    web_.WriteHeader(kContentType, headers);
    web_.WriteBody(answer);
  }

 private:
  static void Fail(Json::Value* answer, const char* error) {
    (*answer)["success"] = false;
    (*answer)["error"] = error;
  }

  // The session keeps the UI language the client asked for ("lang"), when
  // the package ships it; the gateway answers its texts in it.
  void SetLanguage(sqlite::Database& db, const std::string& sid) {
    std::string language = cantora::ShippedLanguage(web_.In("lang", ""));
    if (!language.empty()) cantora::SetSessionLanguage(db, sid, language);
  }

  void SignIn(sqlite::Database& db, Json::Value* answer, std::vector<std::string>* headers) {
    const char* account = web_.In("account");
    const char* password = web_.In("passwd");
    if (account == nullptr || password == nullptr || !*account) {
      Fail(answer, "account and passwd are required");
      return;
    }
    std::string sid;
    // The web server names the client; failures are also counted per address.
    const char* address = std::getenv("REMOTE_ADDR");
    switch (cantora::SignIn(db, account, password, address ? address : "", &sid)) {
      case cantora::SignInResult::kOk:
        SetLanguage(db, sid);
        (*answer)["success"] = true;
        (*answer)["sid"] = sid;
        headers->push_back("Set-Cookie: id=" + sid + "; Path=/; HttpOnly; SameSite=Strict");
        break;
      case cantora::SignInResult::kRefused:
        Fail(answer, "invalid account or password");
        break;
      case cantora::SignInResult::kError:
        Fail(answer, "service unavailable");
        break;
    }
  }
};

}  // namespace

int main() {
  SignInHandler handler;
  handler.Run();
  return 0;
}
