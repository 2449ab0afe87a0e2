#include "platform/config/process_state.h"

#include "platform/config/config.h"
#include "platform/config/platform_db.h"

namespace cantora {

bool BeginPlatformRequest() {
  ReloadConfigIfChanged();
  ForgetPlatformDatabaseIfMoved();
  return PlatformDatabaseChangedSinceLastAsked();
}

bool EndPlatformRequest() {
  const bool released = ReleasePlatformDatabase();
  // The database as this request leaves it, which the next one compares
  // with: the connection is opened during a request, not before.
  PlatformDatabaseChangedSinceLastAsked();
  return released;
}

}  // namespace cantora
