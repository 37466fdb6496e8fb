#include "changes/delete_item.h"

#include "api/drive_api.h"
#include "items/container_rules.h"
#include "model/drive_item_id.h"
#include "model/drive_sync_error.h"

namespace drive {

void deleteItem(const fp::ItemIdentifier& identifier) {
  const auto id = DriveItemID::parse(identifier);
  if (id.kind() != DriveItemID::Kind::node) throw DriveSyncError::notWritable();
  auto& api = DriveAPI::shared();
  if (!isWritableNode(api.node(id.id()))) throw DriveSyncError::notWritable();
  api.deleteNode(id.id());
}

}  // namespace drive
