#pragma once

#include <string>
#include <vector>

#include "items/file_provider_item.h"
#include "model/drive_item_id.h"
#include "model/wire_models.h"
#include "platform/platform_error.h"

namespace drive {

using ItemList = std::vector<fp::ItemPtr>;

// The items of a container in service order, named uniquely, filtered as Finder shows them.
ItemList listContainer(const fp::ItemIdentifier& containerIdentifier);

// The container a node sits in: its namespace folder when its parent is a namespace root.
DriveItemID parentIdentifier(const StorageNode& node);

// The body of itemForIdentifier: the root without the network, namespaces afresh, nodes.
fp::ItemPtr lookupItem(const fp::ItemIdentifier& identifier);

// Trashed nodes, archive folders and, when asked, personal folders are never shown.
std::vector<StorageNode> visibleChildren(std::vector<StorageNode> children,
                                         bool hidePersonalFolders);

// Personal namespaces first, each group in listing order.
std::vector<StorageNamespace> personalFirst(std::vector<StorageNamespace> namespaces);

// The platform's "no such item".
fp::PlatformError noSuchItem();
// The platform's "sync anchor expired": list the container again.
fp::PlatformError syncAnchorExpired();

}  // namespace drive
