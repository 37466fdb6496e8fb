#pragma once

#include <string>

#include "model/drive_item_id.h"
#include "model/wire_models.h"

namespace drive {

// The node that holds a container's children: a namespace's root node, or the node itself.
// Unknown namespaces are "no such item"; the root, working set and trash are read only.
std::string resolveParentNodeId(const DriveItemID& container);

// Writable for this user: the personal namespace, or a role of "editor" or "owner".
bool isWritableNode(const StorageNode& node);

// May new children go into this container?
bool isWritableContainer(const DriveItemID& container);

}  // namespace drive
