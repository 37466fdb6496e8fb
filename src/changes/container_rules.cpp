#include "changes/container_rules.h"

#include "api/drive_api.h"
#include "changes/drive_sync_error.h"
#include "changes/transfer_steps.h"
#include "extension/item_lookup.h"

namespace drive {

std::string resolveParentNodeId(const DriveItemID& container) {
  switch (container.kind()) {
    case DriveItemID::Kind::namespaceFolder: {
      const auto found = DriveAPI::shared().namespaceWithId(container.id(), false);
      if (!found) throw noSuchItem();
      return found->rootNodeId;
    }
    case DriveItemID::Kind::node:
      return container.id();
    default:
      throw DriveSyncError::notWritable();
  }
}

bool isWritableContainer(const DriveItemID& container) {
  switch (container.kind()) {
    case DriveItemID::Kind::namespaceFolder: {
      const auto found = DriveAPI::shared().namespaceWithId(container.id(), false);
      return found && found->kind == "personal";
    }
    case DriveItemID::Kind::node:
      return isWritableNode(DriveAPI::shared().node(container.id()));
    default:
      return false;
  }
}

}  // namespace drive
