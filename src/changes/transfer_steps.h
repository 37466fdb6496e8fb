#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "api/wire_models.h"
#include "shared/sync_activity.h"

namespace drive {

// What the activity file shows for a node: line feeds as blanks, trimmed.
std::string displayName(const std::string& name);

// Is the service's copy of `node` already the local file (size, then SHA-256 digest)?
bool contentMatches(const StorageNode& node, const std::filesystem::path& file);
// The local file's digest as 64 lower-case hex characters; empty when it cannot be read.
std::string fileDigest(const std::filesystem::path& file);

// Runs a transfer of the node shown in the activity file: Begin before, End after with its
// outcome; nodes without an id or a name to show are not shown.
template <typename Transfer>
auto withActivity(const StorageNode& node, DriveSyncActivity::Direction direction,
                  Transfer&& transfer) {
  const auto name = displayName(node.name);
  const bool shown = !node.id.empty() && !name.empty();
  if (shown) DriveSyncActivity::begin(node.id, name, direction);
  try {
    auto result = transfer();
    if (shown) DriveSyncActivity::end(node.id, name, direction, true);
    return result;
  } catch (...) {
    if (shown) DriveSyncActivity::end(node.id, name, direction, false);
    throw;
  }
}

// Uploads `file` as the node's content, shown as an upload in the activity file.
StorageNode uploadWithActivity(const StorageNode& node, const std::filesystem::path& file);

// Writable for this user: the personal namespace, or a role of "editor" or "owner".
bool isWritableNode(const StorageNode& node);

// Adds the node to the materialised set of the disk state.
void recordMaterialized(const std::string& nodeId);

}  // namespace drive
