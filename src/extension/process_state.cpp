#include "extension/process_state.h"

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "enumeration/enumeration_bookkeeping.h"
#include "session/session_store.h"

namespace drive {

void resetProcessStateForTesting() {
  resetCachedSessionForTesting();
  DriveAPI::shared().resetListingCacheForTesting();
  DriveDiskState::resetCacheForTesting();
  EnumerationBookkeeping::resetForTesting();
}

}  // namespace drive
