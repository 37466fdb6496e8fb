#pragma once

#include <filesystem>

#include "app_group/sync_activity.h"
#include "model/wire_models.h"

namespace drive {

// Runs a transfer of the node shown in the activity file: Begin before, End after with its
// outcome; nodes without an id or a name to show are not shown.
template <typename Transfer>
auto withActivity(const StorageNode& node, DriveSyncActivity::Direction direction,
                  Transfer&& transfer) {
  const auto name = DriveSyncActivity::displayName(node.name);
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

}  // namespace drive
