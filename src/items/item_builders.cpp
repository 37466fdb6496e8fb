#include "items/item_builders.h"

#include "app_group/disk_state.h"
#include "model/name_rules.h"
#include "model/node_kinds.h"
#include "model/timestamp.h"
#include "platform/type_registry.h"

namespace drive {
namespace {

using namespace fp::ItemCapability;

constexpr const char* kRootName = "PraloDrive";

std::optional<fp::Date> dateOf(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  return readTimestamp(*text);
}

fp::UniformType registeredOrData(std::string_view extension) {
  return fp::TypeRegistry::typeForFilenameExtension(extension).value_or(fp::UniformType::data());
}

std::string strippedDots(const std::string& text) {
  const auto start = text.find_first_not_of('.');
  if (start == std::string::npos) return {};
  return text.substr(start, text.find_last_not_of('.') - start + 1);
}

// `cloudOnly`: isCloudOnlyDocument of the node, which the builder works out once.
SyncMode nodeMode(const StorageNode& node, bool writable, bool cloudOnly,
                  const DriveDiskState::FileState& state) {
  if (state.pinned.contains(node.id)) return SyncMode::offline;
  if (isContainerNode(node)) return writable ? SyncMode::folder : SyncMode::listing;
  if (cloudOnly) return SyncMode::pralo;
  return writable ? SyncMode::online : SyncMode::listing;
}

fp::ItemCapabilities nodeCapabilities(const StorageNode& node, bool writable, bool project,
                                      bool cloudOnly) {
  if (project) return writable ? (reading | writing) : reading;
  if (isContainerNode(node)) {
    return writable ? (reading | writing | reparenting | renaming | deleting) : reading;
  }
  if (cloudOnly) return writable ? (reparenting | renaming | deleting) : 0;
  return writable ? (reading | writing | reparenting | renaming | deleting | evicting)
                  : (reading | evicting);
}

bool isLocalNode(const StorageNode& node, const NodeItemOptions& options, bool cloudOnly,
                 const DriveDiskState::FileState& state) {
  if (isContainerNode(node)) return true;
  if (cloudOnly) return false;
  return options.downloaded.value_or(state.materialized.contains(node.id));
}

FileProviderItem::Record containerRecord(std::string identifier, std::string parent,
                                         std::string filename) {
  FileProviderItem::Record record;
  record.identifier = std::move(identifier);
  record.parent = std::move(parent);
  record.filename = cleanFilename(filename);
  record.contentType = fp::UniformType::folder();
  record.contentVersion = bytesOf("0.0");
  record.isDownloaded = true;
  record.isContainer = true;
  record.isLocal = true;
  record.revision = DriveDiskState::current().revision;
  return record;
}

}  // namespace

bool isCloudOnlyDocument(const StorageNode& node) {
  if (node.cloudOnly.value_or(false)) return true;
  const auto appKind = lowercasedName(node.appKind);
  if (isPraloAppKind(appKind)) return true;
  return hasPraloExtension(lowercasedName(node.name));
}

bool isWritable(bool personalNamespace, const StorageNode& node) {
  return personalNamespace || node.role == "editor" || node.role == "owner";
}

fp::UniformType contentTypeOf(const StorageNode& node, const std::string& name) {
  if (isContainerNode(node)) return fp::UniformType::folder();
  if (node.fileExtension) {
    const auto extension = strippedDots(*node.fileExtension);
    if (!extension.empty()) {
      if (auto type = fp::TypeRegistry::typeForFilenameExtension(extension)) return *type;
    }
  }
  const auto lower = lowercasedName(name);
  if (hasPraloExtension(lower)) return registeredOrData(lower.substr(lower.rfind('.') + 1));
  if (node.appKind == Pralo::sceneAppKind) return registeredOrData(Pralo::sceneExtension);
  if (node.appKind == Pralo::objectAppKind) return registeredOrData(Pralo::objectExtension);
  return fp::TypeRegistry::typeForFilename(name).value_or(fp::UniformType::data());
}

std::shared_ptr<const FileProviderItem> buildNodeItem(const StorageNode& node,
                                                      const NodeItemOptions& options) {
  return buildNodeItem(node, options, DriveDiskState::current());
}

std::shared_ptr<const FileProviderItem> buildNodeItem(const StorageNode& node,
                                                      const NodeItemOptions& options,
                                                      const DriveDiskState::FileState& state) {
  FileProviderItem::Record record;
  record.identifier = DriveItemID::node(node.id).format();
  record.parent = options.parent.platformIdentifier();
  record.filename = cleanFilename(options.name);
  record.contentType = contentTypeOf(node, options.name);
  record.creationDate = dateOf(node.createdAt);
  record.modificationDate = dateOf(node.updatedAt);
  if (!record.modificationDate) record.modificationDate = record.creationDate;
  const bool cloudOnly = isCloudOnlyDocument(node);
  record.syncMode = nodeMode(node, options.writable, cloudOnly, state);
  record.isContainer = isContainerNode(node);
  record.isLocal = isLocalNode(node, options, cloudOnly, state);
  record.isDownloaded = record.isLocal;
  record.revision = state.revision;
  record.contentVersion = options.contentVersion.value_or(
      bytesOf(node.contentHash.value_or(timeStampText(record.modificationDate))));
  record.capabilities = nodeCapabilities(node, options.writable, options.project, cloudOnly);
  record.documentSize = node.byteSize;
  return std::make_shared<const FileProviderItem>(std::move(record));
}

std::shared_ptr<const FileProviderItem> buildNamespaceItem(const StorageNamespace& storageNamespace,
                                                           const std::optional<std::string>& name) {
  const bool personal = isPersonalNamespaceRecord(storageNamespace);
  auto record = containerRecord(DriveItemID::namespaceFolder(storageNamespace.id).format(),
                                std::string(fp::NSFileProviderRootContainerItemIdentifier),
                                name.value_or(storageNamespace.title));
  record.syncMode = personal ? SyncMode::myDrive : SyncMode::listing;
  record.capabilities = personal ? (reading | writing) : reading;
  return std::make_shared<const FileProviderItem>(std::move(record));
}

std::shared_ptr<const FileProviderItem> buildRootItem() {
  const std::string root(fp::NSFileProviderRootContainerItemIdentifier);
  auto record = containerRecord(root, root, kRootName);
  record.syncMode = SyncMode::listing;
  record.capabilities = reading;
  return std::make_shared<const FileProviderItem>(std::move(record));
}

}  // namespace drive
