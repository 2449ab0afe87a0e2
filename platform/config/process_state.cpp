#include "platform/config/process_state.h"

#include "platform/config/config.h"
#include "platform/config/platform_db.h"

namespace cantora {

bool BeginPlatformRequest() {
  ReloadConfigIfChanged();
  ForgetPlatformDatabaseIfMoved();
  return PlatformDatabaseChangedSinceLastAsked();
}

bool EndPlatformRequest() { return ReleasePlatformDatabase(); }

}  // namespace cantora
