#include "model/node_kinds.h"

#include <algorithm>

namespace drive {

bool isContainerNode(const StorageNode& node) {
  return node.kind == NodeKind::folder || node.kind == NodeKind::project;
}

bool isPersonalNamespaceRecord(const StorageNamespace& storageNamespace) {
  return storageNamespace.kind == NamespaceKind::personal;
}

bool isPraloAppKind(std::string_view appKind) {
  return std::ranges::find(Pralo::appKinds, appKind) != std::end(Pralo::appKinds);
}

bool isPraloExtension(std::string_view lowercasedExtension) {
  return lowercasedExtension == Pralo::sceneExtension ||
         lowercasedExtension == Pralo::objectExtension;
}

bool hasPraloExtension(std::string_view lowercasedName) {
  const auto dot = lowercasedName.rfind('.');
  return dot != std::string_view::npos && isPraloExtension(lowercasedName.substr(dot + 1));
}

}  // namespace drive
