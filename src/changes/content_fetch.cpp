#include "changes/content_fetch.h"

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "app_group/sync_activity.h"
#include "app_group/trace_log.h"
#include "changes/transfer_activity.h"
#include "items/item_builders.h"
#include "items/item_lookup.h"
#include "model/drive_sync_error.h"
#include "model/node_kinds.h"
#include "platform/atomic_file.h"
#include "platform/environment.h"
#include "platform/mapped_temporary_file.h"
#include "platform/platform_error.h"
#include "platform/type_registry.h"
#include "platform/uuid.h"

namespace drive {
namespace {

constexpr const char* kTemporaryPrefix = "drive-";

// "drive-<UUID>" plus the name's extension, in the temporary directory.
std::filesystem::path temporaryFileFor(const std::string& name) {
  const auto extension = fp::pathExtension(name);
  return fp::Environment::current()->temporaryDirectory /
         (kTemporaryPrefix + fp::makeUUIDString() + (extension.empty() ? "" : "." + extension));
}

[[noreturn]] void throwNotWritten() {
  throw fp::PlatformError::withDescription(fp::NSCocoaErrorDomain, 512,
                                           "The downloaded file could not be written.");
}

// Received straight into the file it will be handed over as, never held in memory: a large
// video would otherwise cost its size in RAM.
std::unique_ptr<fp::MappedTemporaryFile> download(const StorageNode& node) {
  try {
    auto file = std::make_unique<fp::MappedTemporaryFile>(temporaryFileFor(node.name), 0600);
    withActivity(node, DriveSyncActivity::Direction::download, [&] {
      DriveAPI::shared().downloadContent(node.id, *file);
      return true;
    });
    return file;
  } catch (const std::system_error&) {
    throwNotWritten();
  }
}

}  // namespace

FetchResult fetchContents(const fp::ItemIdentifier& identifier,
                          const std::optional<fp::ItemVersion>& requestedVersion) {
  const auto id = DriveItemID::parse(identifier);
  if (id.kind() != DriveItemID::Kind::node) throw DriveSyncError::unsupported();
  auto& api = DriveAPI::shared();
  const auto node = api.node(id.id());
  if (isContainerNode(node)) throw DriveSyncError::unsupported();
  if (isCloudOnlyDocument(node)) {
    trace("fetch cloud " + node.id);
    throw DriveSyncError::cloudOnly();
  }
  trace("fetch " + node.id);
  const bool personal = api.isPersonalNamespace(node.namespaceId);
  const auto file = download(node);
  DriveDiskState::recordMaterialized(node.id);
  NodeItemOptions options;
  options.parent = parentIdentifier(node);
  options.name = node.name;
  options.writable = isWritable(personal, node);
  options.downloaded = true;
  if (requestedVersion) options.contentVersion = requestedVersion->contentVersion;
  auto item = buildNodeItem(node, options);
  // The service keeps the content: a crash may cost a fetch again, so no flush to disk.
  try {
    file->commit();
  } catch (const std::system_error&) {
    throwNotWritten();
  }
  return {file->target(), item};
}

void removeAbandonedFetches() {
  fp::removeAbandonedPartialFiles(fp::Environment::current()->temporaryDirectory, kTemporaryPrefix);
}

}  // namespace drive
