#include "items/container_rules.h"

#include "api/drive_api.h"
#include "items/item_builders.h"
#include "items/item_lookup.h"
#include "model/drive_sync_error.h"
#include "model/node_kinds.h"

namespace drive {

bool isWritableNode(const StorageNode& node) {
  return isWritable(DriveAPI::shared().isPersonalNamespace(node.namespaceId), node);
}

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
      return found && isPersonalNamespaceRecord(*found);
    }
    case DriveItemID::Kind::node:
      return isWritableNode(DriveAPI::shared().node(container.id()));
    default:
      return false;
  }
}

}  // namespace drive
