#include "model/drive_item_id.h"

namespace drive {

DriveItemID DriveItemID::parse(const std::string& identifier) {
  if (identifier == "root" || identifier == fp::NSFileProviderRootContainerItemIdentifier) {
    return root();
  }
  if (identifier == "workingSet" ||
      identifier == fp::NSFileProviderWorkingSetContainerItemIdentifier) {
    return workingSet();
  }
  if (identifier == "trash" || identifier == fp::NSFileProviderTrashContainerItemIdentifier) {
    return trash();
  }
  if (identifier.starts_with(kNamespacePrefix)) {
    return namespaceFolder(identifier.substr(kNamespacePrefix.size()));
  }
  if (identifier.starts_with(kNodePrefix)) return node(identifier.substr(kNodePrefix.size()));
  return node(identifier);
}

DriveItemID DriveItemID::fromPlatformIdentifier(const fp::ItemIdentifier& identifier) {
  if (identifier == fp::NSFileProviderRootContainerItemIdentifier) return root();
  if (identifier == fp::NSFileProviderWorkingSetContainerItemIdentifier) return workingSet();
  if (identifier == fp::NSFileProviderTrashContainerItemIdentifier) return trash();
  return parse(identifier);
}

std::string DriveItemID::format() const {
  switch (kind_) {
    case Kind::root:
      return "root";
    case Kind::workingSet:
      return "workingSet";
    case Kind::trash:
      return "trash";
    case Kind::namespaceFolder:
      return std::string(kNamespacePrefix) + id_;
    case Kind::node:
      return std::string(kNodePrefix) + id_;
  }
  return {};
}

fp::ItemIdentifier DriveItemID::platformIdentifier() const {
  switch (kind_) {
    case Kind::root:
      return std::string(fp::NSFileProviderRootContainerItemIdentifier);
    case Kind::workingSet:
      return std::string(fp::NSFileProviderWorkingSetContainerItemIdentifier);
    case Kind::trash:
      return std::string(fp::NSFileProviderTrashContainerItemIdentifier);
    default:
      return format();
  }
}

}  // namespace drive
