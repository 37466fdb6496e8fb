#include "changes/create_item.h"

#include <algorithm>
#include <set>

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "app_group/trace_log.h"
#include "changes/content_digest.h"
#include "changes/transfer_activity.h"
#include "items/container_rules.h"
#include "items/item_builders.h"
#include "items/item_lookup.h"
#include "model/drive_api_error.h"
#include "model/drive_sync_error.h"
#include "model/name_rules.h"
#include "model/node_kinds.h"
#include "platform/type_registry.h"

namespace drive {
namespace {

bool isFolderTemplate(const fp::Item& itemTemplate) {
  const auto type = itemTemplate.contentType();
  if (type.identifier().empty()) return false;
  return type.identifier() == "eu.vantrel.drive.mydrive-folder" ||
         fp::TypeRegistry::conformsTo(type, fp::UniformType::folder()) ||
         fp::TypeRegistry::conformsTo(type, fp::UniformType("public.directory"));
}

bool isPraloTemplate(const fp::Item& itemTemplate) {
  const auto name = lowercasedName(itemTemplate.filename());
  if (hasPraloExtension(name)) return true;
  const auto extension = fp::TypeRegistry::preferredFilenameExtension(itemTemplate.contentType());
  if (!extension) return false;
  return isPraloExtension(lowercasedName(*extension));
}

// An item for a node this create settled on: always under the template's parent.
fp::ItemPtr itemFor(const StorageNode& node, const DriveItemID& parent, bool writable,
                    std::optional<bool> downloaded) {
  NodeItemOptions options;
  options.parent = parent;
  options.name = node.name;
  options.writable = writable;
  options.downloaded = downloaded;
  return buildNodeItem(node, options);
}

StorageNode uploadStep(const StorageNode& node, const std::optional<fp::URL>& contents) {
  if (!contents || isContainerNode(node) || isCloudOnlyDocument(node)) return node;
  if (contentMatches(node, *contents)) return node;
  return uploadWithActivity(node, *contents);
}

fp::ItemPtr finishStep(const StorageNode& node, const DriveItemID& parent, bool folder) {
  const bool localFile = !folder && !isCloudOnlyDocument(node);
  if (localFile) DriveDiskState::recordMaterialized(node.id);
  return itemFor(node, parent, true, localFile);
}

fp::ItemPtr adoptNamespace(const std::string& filename) {
  std::vector<StorageNamespace> namespaces;
  try {
    namespaces = DriveAPI::shared().listing(true).namespaces;
  } catch (...) {
    throw DriveSyncError::skip();
  }
  namespaces = personalFirst(std::move(namespaces));
  const auto wanted = composedName(filename);
  for (const auto& storageNamespace : namespaces) {
    if (composedName(storageNamespace.title) != wanted) continue;
    trace("create adopted " + storageNamespace.title);
    return buildNamespaceItem(storageNamespace, filename);
  }
  throw DriveSyncError::skip();
}

fp::ItemPtr keepExisting(const std::string& parentNodeId, const std::string& filename,
                         const DriveItemID& parent) {
  std::optional<StorageNode> child;
  try {
    child = DriveAPI::shared().childNamed(parentNodeId, filename);
  } catch (...) {
  }
  if (!child) throw DriveSyncError::skip();
  trace("create kept " + child->name);
  return itemFor(*child, parent, isWritableNode(*child), std::nullopt);
}

// The one sibling whose content is the local file, if exactly one is.
std::optional<StorageNode> sameContentSibling(const std::vector<StorageNode>& children,
                                              const fp::URL& contents) {
  const auto digest = fileDigest(contents);
  if (digest.empty()) return std::nullopt;
  std::error_code error;
  const auto size = std::filesystem::file_size(contents, error);
  std::optional<StorageNode> match;
  int matches = 0;
  for (const auto& child : children) {
    if (isContainerNode(child) || isCloudOnlyDocument(child)) continue;
    if (lowercasedName(child.contentHash.value_or("")) != digest) continue;
    if (child.byteSize && !error && std::uintmax_t(*child.byteSize) != size) continue;
    match = child;
    ++matches;
  }
  return matches == 1 ? match : std::nullopt;
}

StorageNode createOrFind(const std::string& parentNodeId, const std::string& name, bool folder) {
  auto& api = DriveAPI::shared();
  try {
    return api.createNode(parentNodeId, name,
                          std::string(folder ? NodeKind::folder : NodeKind::file));
  } catch (const DriveAPIError& error) {
    if (error.which() != DriveAPIError::Case::http || error.status() != 409) throw;
  }
  auto existing = api.childNamed(parentNodeId, name);
  if (!existing) throw DriveAPIError::http(409, "An item with that name already exists here");
  return *existing;
}

}  // namespace

std::string uniqueChildName(const std::string& wanted, const std::vector<std::string>& childNames) {
  std::string base = trimmedName(wanted);
  if (base.empty()) base = "Untitled";
  std::set<std::string> taken;
  for (const auto& name : childNames)
    taken.insert(nameKey(name));
  if (!taken.contains(lowercasedName(base))) return base;
  const auto extension = fp::pathExtension(base);
  const auto stem = fp::deletingPathExtension(base);
  const auto suffix = extension.empty() ? std::string() : "." + extension;
  for (int counter = 2;; ++counter) {
    auto candidate = stem + " " + std::to_string(counter) + suffix;
    if (!taken.contains(lowercasedName(candidate))) return candidate;
  }
}

fp::ItemPtr createItem(const fp::ItemPtr& itemTemplate, const std::optional<fp::URL>& contents,
                       fp::CreateItemOptions options) {
  const auto filename = itemTemplate->filename();
  if (isIgnoredName(filename) || isArchiveName(filename)) throw DriveSyncError::skip();
  const auto parent = DriveItemID::parse(itemTemplate->parentItemIdentifier());
  if (parent.kind() == DriveItemID::Kind::root) return adoptNamespace(filename);
  const auto parentNodeId = resolveParentNodeId(parent);
  if (!isWritableContainer(parent)) return keepExisting(parentNodeId, filename, parent);
  const bool folder = isFolderTemplate(*itemTemplate);
  if (!folder && isPraloTemplate(*itemTemplate)) throw DriveSyncError::cloudOnly();
  const auto fileContents = folder ? std::nullopt : contents;
  const auto children = DriveAPI::shared().children(parentNodeId);
  if (options & fp::CreateItemOption::mayAlreadyExist) {
    const auto key = nameKey(filename);
    auto named = std::find_if(children.begin(), children.end(),
                              [&](const StorageNode& child) { return nameKey(child.name) == key; });
    if (named != children.end())
      return finishStep(uploadStep(*named, fileContents), parent, folder);
    if (fileContents) {
      if (auto sibling = sameContentSibling(children, *fileContents)) {
        trace("create renamed " + sibling->id);
        DriveDiskState::recordMaterialized(sibling->id);
        return itemFor(*sibling, parent, true, true);
      }
    }
  }
  std::vector<std::string> childNames;
  for (const auto& child : children)
    childNames.push_back(child.name);
  const auto created = createOrFind(parentNodeId, uniqueChildName(filename, childNames), folder);
  return finishStep(uploadStep(created, fileContents), parent, folder);
}

}  // namespace drive
