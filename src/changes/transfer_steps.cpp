#include "changes/transfer_steps.h"

#include <algorithm>

#include "api/drive_api.h"
#include "extension/item_builders.h"
#include "extension/name_rules.h"
#include "platform/sha256.h"
#include "shared/disk_state.h"
#include "shared/sync_activity.h"

namespace drive {

std::string displayName(const std::string& name) {
  std::string spaced = name;
  std::replace(spaced.begin(), spaced.end(), '\n', ' ');
  return trimmedName(spaced);
}

std::string fileDigest(const std::filesystem::path& file) {
  const auto digest = fp::SHA256::hashFile(file);
  return digest ? fp::lowerHex(*digest) : std::string();
}

bool contentMatches(const StorageNode& node, const std::filesystem::path& file) {
  const auto hash = lowercasedName(node.contentHash.value_or(""));
  if (hash.empty()) return false;
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (node.byteSize && !error && std::uintmax_t(*node.byteSize) != size) return false;
  return fileDigest(file) == hash;
}

StorageNode uploadWithActivity(const StorageNode& node, const std::filesystem::path& file) {
  return withActivity(node, DriveSyncActivity::Direction::upload, [&] {
    return DriveAPI::shared().uploadContent(node.id, file, std::nullopt);
  });
}

bool isWritableNode(const StorageNode& node) {
  return isWritable(DriveAPI::shared().isPersonalNamespace(node.namespaceId), node);
}

void recordMaterialized(const std::string& nodeId) {
  DriveDiskState::update(
      [&](DriveDiskState::FileState& state) { return state.materialized.insert(nodeId).second; });
}

}  // namespace drive
