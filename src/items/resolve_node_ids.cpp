#include "items/resolve_node_ids.h"

#include "api/drive_api.h"
#include "model/drive_item_id.h"

namespace drive {

std::vector<std::string> resolveNodeIds(const std::vector<std::string>& identifiers) {
  std::vector<std::string> nodeIds;
  for (const auto& identifier : identifiers) {
    const auto id = DriveItemID::parse(identifier);
    if (id.isContainer()) continue;
    if (id.kind() == DriveItemID::Kind::node) {
      nodeIds.push_back(id.id());
      continue;
    }
    try {
      if (auto found = DriveAPI::shared().namespaceWithId(id.id(), false)) {
        nodeIds.push_back(found->rootNodeId);
      }
    } catch (...) {
      // An unknown or unreachable namespace contributes nothing.
    }
  }
  return nodeIds;
}

}  // namespace drive
