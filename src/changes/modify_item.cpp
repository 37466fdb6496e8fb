#include "changes/modify_item.h"

#include "api/drive_api.h"
#include "changes/transfer_activity.h"
#include "items/container_rules.h"
#include "items/item_builders.h"
#include "items/item_lookup.h"
#include "model/drive_sync_error.h"
#include "model/name_rules.h"
#include "model/node_kinds.h"

namespace drive {
namespace {

StorageNode moved(const StorageNode& node, const fp::ItemIdentifier& newParent) {
  const auto parent = DriveItemID::parse(newParent);
  if (!isWritableContainer(parent)) throw DriveSyncError::notWritable();
  return DriveAPI::shared().moveNode(node.id, resolveParentNodeId(parent));
}

StorageNode renamed(const StorageNode& node, const std::string& name) {
  if (isIgnoredName(name) || isArchiveName(name)) throw DriveSyncError::skip();
  if (name == node.name) return node;
  return DriveAPI::shared().renameNode(node.id, name);
}

fp::ItemPtr namespaceFolderItem(const std::string& namespaceId, const std::string& filename) {
  const auto found = DriveAPI::shared().namespaceWithId(namespaceId, false);
  if (!found) throw DriveSyncError::unsupported();
  return buildNamespaceItem(*found, filename);
}

}  // namespace

fp::ItemPtr modifyItem(const fp::ItemPtr& item, fp::ItemFields changedFields,
                       const std::optional<fp::URL>& contents) {
  const auto id = DriveItemID::parse(item->itemIdentifier());
  if (id.isContainer()) throw DriveSyncError::notWritable();
  if (id.kind() == DriveItemID::Kind::namespaceFolder) {
    return namespaceFolderItem(id.id(), item->filename());
  }
  auto node = DriveAPI::shared().node(id.id());
  if (!isWritableNode(node)) throw DriveSyncError::notWritable();
  if (changedFields & fp::ItemField::parentItemIdentifier) {
    node = moved(node, item->parentItemIdentifier());
  }
  if (changedFields & fp::ItemField::filename) node = renamed(node, item->filename());
  const bool document = isContainerNode(node) || isCloudOnlyDocument(node);
  if (contents && !document) node = uploadWithActivity(node, *contents);
  NodeItemOptions options;
  options.parent = parentIdentifier(node);
  options.name = node.name;
  options.writable = true;
  options.downloaded = !document;
  return buildNodeItem(node, options);
}

}  // namespace drive
