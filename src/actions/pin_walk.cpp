#include "actions/pin_walk.h"

#include <set>

#include "api/drive_api.h"
#include "changes/drive_sync_error.h"
#include "extension/drive_item_id.h"
#include "extension/item_builders.h"
#include "shared/disk_state.h"
#include "shared/sync_selection.h"

namespace drive {
namespace {

std::vector<StorageNode> startingNodes(const DriveItemID& id) {
  auto& api = DriveAPI::shared();
  switch (id.kind()) {
    case DriveItemID::Kind::node:
      return {api.node(id.id())};
    case DriveItemID::Kind::namespaceFolder: {
      const auto found = api.namespaceWithId(id.id(), false);
      if (!found) throw DriveSyncError::unsupported();
      return {api.node(found->rootNodeId)};
    }
    case DriveItemID::Kind::root: {
      std::vector<StorageNode> roots;
      for (const auto& storageNamespace : api.listing(false).namespaces) {
        if (!DriveSyncSelection::includesNamespace(storageNamespace.id)) continue;
        roots.push_back(api.node(storageNamespace.rootNodeId));
      }
      return roots;
    }
    default:
      throw DriveSyncError::unsupported();
  }
}

void setPinned(const std::string& nodeId, bool pin) {
  DriveDiskState::update([&](DriveDiskState::FileState& state) {
    return pin ? state.pinned.insert(nodeId).second : state.pinned.erase(nodeId) > 0;
  });
}

// Depth first, each node once, trashed nodes and PRALO documents left alone.
class Walk {
 public:
  explicit Walk(bool pin) : pin_(pin) {}

  void visit(const StorageNode& node) {
    if (node.trashedAt || !visited_.insert(node.id).second) return;
    if (isContainerNode(node)) {
      setPinned(node.id, pin_);
      for (const auto& child : DriveAPI::shared().children(node.id))
        visit(child);
    } else if (!isCloudOnlyDocument(node)) {
      setPinned(node.id, pin_);
      files_.push_back(node.id);
    }
  }
  const std::vector<std::string>& files() const { return files_; }

 private:
  bool pin_;
  std::set<std::string> visited_;
  std::vector<std::string> files_;
};

}  // namespace

CompanionCommand pinSelection(const std::vector<std::string>& identifiers, bool pin) {
  std::vector<std::string> result;
  for (const auto& identifier : identifiers) {
    const auto starts = startingNodes(DriveItemID::parse(identifier));
    if (pin && starts.size() == 1 && isCloudOnlyDocument(starts.front()) &&
        !isContainerNode(starts.front())) {
      throw DriveSyncError::cloudOnly();
    }
    Walk walk(pin);
    for (const auto& start : starts)
      walk.visit(start);
    if (!pin) result.push_back(identifier);
    for (const auto& file : walk.files())
      result.push_back(DriveItemID::node(file).format());
  }
  return CompanionCommand{{"action", pin ? "download" : "evict"}, {"identifiers", result}};
}

}  // namespace drive
