#pragma once

#include <memory>
#include <optional>

#include "app_group/disk_state.h"
#include "items/file_provider_item.h"
#include "model/drive_item_id.h"
#include "model/wire_models.h"

namespace drive {

struct NodeItemOptions {
  DriveItemID parent = DriveItemID::root();
  std::string name;
  bool writable = false;
  std::optional<bool> downloaded;
  bool project = false;
  std::optional<fp::Bytes> contentVersion;
};

// Each build reads a fresh disk-state snapshot (pins, materialised ids, revision).
std::shared_ptr<const FileProviderItem> buildNodeItem(const StorageNode& node,
                                                      const NodeItemOptions& options);
// With a snapshot the caller read: a listing reads one for all its items.
std::shared_ptr<const FileProviderItem> buildNodeItem(const StorageNode& node,
                                                      const NodeItemOptions& options,
                                                      const DriveDiskState::FileState& state);
std::shared_ptr<const FileProviderItem> buildNamespaceItem(
    const StorageNamespace& storageNamespace, const std::optional<std::string>& name = {});
std::shared_ptr<const FileProviderItem> buildRootItem();

// Node facts the builders and the change rules share.
bool isCloudOnlyDocument(const StorageNode& node);
// The content type from the node's kind, extension field, name and app kind.
fp::UniformType contentTypeOf(const StorageNode& node, const std::string& name);
// Personal namespace, or else a role of exactly "editor" or "owner".
bool isWritable(bool personalNamespace, const StorageNode& node);

}  // namespace drive
