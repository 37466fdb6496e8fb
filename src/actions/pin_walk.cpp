#include "actions/pin_walk.h"

#include <set>

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "app_group/sync_selection.h"
#include "items/item_builders.h"
#include "model/drive_item_id.h"
#include "model/drive_sync_error.h"
#include "model/node_kinds.h"

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

void setPinned(const std::vector<std::string>& nodeIds, bool pin) {
  if (nodeIds.empty()) return;
  DriveDiskState::update([&](DriveDiskState::FileState& state) {
    bool changed = false;
    for (const auto& id : nodeIds) {
      changed |= pin ? state.pinned.insert(id).second : state.pinned.erase(id) > 0;
    }
    return changed;
  });
}

bool isSyncableFile(const StorageNode& node) {
  return !isContainerNode(node) && !isCloudOnlyDocument(node);
}

// Depth first, each node once, trashed nodes and PRALO documents left alone. A folder's
// files are pinned together, in one write of the disk state rather than one per file.
class Walk {
 public:
  explicit Walk(bool pin) : pin_(pin) {}

  void visit(const StorageNode& node) {
    if (node.trashedAt || !visited_.insert(node.id).second) return;
    if (isSyncableFile(node)) {
      setPinned({node.id}, pin_);
      files_.push_back(node.id);
    } else if (isContainerNode(node)) {
      visitFolder(node);
    }
  }
  const std::vector<std::string>& files() const { return files_; }

 private:
  void visitFolder(const StorageNode& folder) {
    setPinned({folder.id}, pin_);
    const auto children = DriveAPI::shared().children(folder.id);
    std::vector<std::string> files;
    for (const auto& child : children) {
      if (!child.trashedAt && isSyncableFile(child) && !visited_.contains(child.id)) {
        files.push_back(child.id);
      }
    }
    setPinned(files, pin_);
    for (const auto& child : children) {
      if (child.trashedAt || !visited_.insert(child.id).second) continue;
      if (isSyncableFile(child)) {
        files_.push_back(child.id);
      } else if (isContainerNode(child)) {
        visitFolder(child);
      }
    }
  }

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
