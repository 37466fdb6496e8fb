#include "items/item_lookup.h"

#include <algorithm>
#include <set>

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "app_group/sync_selection.h"
#include "items/item_builders.h"
#include "model/name_rules.h"
#include "model/node_kinds.h"

namespace drive {
namespace {

ItemList namespaceItems() {
  const auto namespaces = personalFirst(DriveAPI::shared().listing(false).namespaces);
  ItemList items;
  std::set<std::string> used;
  for (const auto& storageNamespace : namespaces) {
    if (!DriveSyncSelection::includesNamespace(storageNamespace.id)) continue;
    items.push_back(
        buildNamespaceItem(storageNamespace, uniqueFilename(storageNamespace.title, used)));
  }
  return items;
}

ItemList childItems(const std::vector<StorageNode>& children, const DriveItemID& parent,
                    bool personal) {
  ItemList items;
  items.reserve(children.size());
  std::set<std::string> used;
  const auto state = DriveDiskState::current();
  for (const auto& child : children) {
    NodeItemOptions options;
    options.parent = parent;
    options.name = uniqueFilename(child.name, used);
    options.writable = isWritable(personal, child);
    options.project = child.kind == NodeKind::project;
    items.push_back(buildNodeItem(child, options, state));
  }
  return items;
}

ItemList namespaceChildren(const std::string& namespaceId) {
  auto& api = DriveAPI::shared();
  const auto storageNamespace = api.namespaceWithId(namespaceId, false);
  if (!storageNamespace) throw noSuchItem();
  auto children = visibleChildren(api.children(storageNamespace->rootNodeId),
                                  storageNamespace->kind == NamespaceKind::workspace);
  children = DriveSyncSelection::filterTopLevel(std::move(children), namespaceId);
  return childItems(children, DriveItemID::namespaceFolder(namespaceId),
                    isPersonalNamespaceRecord(*storageNamespace));
}

ItemList nodeChildren(const std::string& nodeId) {
  auto& api = DriveAPI::shared();
  const auto folder = api.node(nodeId);
  const bool personal = api.isPersonalNamespace(folder.namespaceId);
  return childItems(visibleChildren(api.children(nodeId), false), DriveItemID::node(nodeId),
                    personal);
}

}  // namespace

std::vector<StorageNamespace> personalFirst(std::vector<StorageNamespace> namespaces) {
  std::stable_partition(namespaces.begin(), namespaces.end(), isPersonalNamespaceRecord);
  return namespaces;
}

fp::PlatformError syncAnchorExpired() {
  return fp::PlatformError(fp::NSFileProviderErrorDomain,
                           fp::FileProviderErrorCode::syncAnchorExpired);
}

fp::PlatformError noSuchItem() {
  return fp::PlatformError(fp::NSFileProviderErrorDomain, fp::FileProviderErrorCode::noSuchItem);
}

std::vector<StorageNode> visibleChildren(std::vector<StorageNode> children,
                                         bool hidePersonalFolders) {
  std::erase_if(children, [&](const StorageNode& child) {
    return child.trashedAt.has_value() || isArchiveName(child.name) ||
           (hidePersonalFolders && child.kind == NodeKind::folder && child.isPersonal == true);
  });
  return children;
}

ItemList listContainer(const fp::ItemIdentifier& containerIdentifier) {
  const auto id = DriveItemID::parse(containerIdentifier);
  switch (id.kind()) {
    case DriveItemID::Kind::workingSet:
    case DriveItemID::Kind::trash:
      return {};
    case DriveItemID::Kind::root:
      return namespaceItems();
    case DriveItemID::Kind::namespaceFolder:
      return namespaceChildren(id.id());
    case DriveItemID::Kind::node:
      return nodeChildren(id.id());
  }
  return {};
}

DriveItemID parentIdentifier(const StorageNode& node) {
  const auto& rootId = node.parentId ? *node.parentId : node.id;
  if (auto owner = DriveAPI::shared().namespaceWithRoot(rootId, false)) {
    return DriveItemID::namespaceFolder(owner->id);
  }
  return node.parentId ? DriveItemID::node(*node.parentId) : DriveItemID::root();
}

fp::ItemPtr lookupItem(const fp::ItemIdentifier& identifier) {
  const auto id = DriveItemID::parse(identifier);
  auto& api = DriveAPI::shared();
  switch (id.kind()) {
    case DriveItemID::Kind::root:
      return buildRootItem();
    case DriveItemID::Kind::workingSet:
    case DriveItemID::Kind::trash:
      throw noSuchItem();
    case DriveItemID::Kind::namespaceFolder: {
      const auto storageNamespace = api.namespaceWithId(id.id(), true);
      if (!storageNamespace) throw noSuchItem();
      return buildNamespaceItem(*storageNamespace);
    }
    case DriveItemID::Kind::node:
      break;
  }
  const auto node = api.node(id.id());
  NodeItemOptions options;
  options.parent = parentIdentifier(node);
  options.name = node.name;
  options.writable = isWritable(api.isPersonalNamespace(node.namespaceId), node);
  options.project = node.kind == NodeKind::project;
  return buildNodeItem(node, options);
}

}  // namespace drive
