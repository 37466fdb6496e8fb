#include "changes/transfer_activity.h"

#include "api/drive_api.h"

namespace drive {

StorageNode uploadWithActivity(const StorageNode& node, const std::filesystem::path& file) {
  return withActivity(node, DriveSyncActivity::Direction::upload, [&] {
    return DriveAPI::shared().uploadContent(node.id, file, std::nullopt);
  });
}

}  // namespace drive
