#include "enumerate/request_context.h"

#include "platform/config/platform_db.h"

RequestContext::RequestContext(const CantoraUserRecord& record)
    : user_(cantora::UserOfRecord(record)),
      config_(cantora::GetConfig()),
      database_(cantora::PlatformDatabase()) {}

const cantora::CoverScope& RequestContext::cover_scope() {
  if (!cover_scope_) cover_scope_ = std::make_unique<cantora::CoverScope>(user_);
  return *cover_scope_;
}
