#pragma once

#include <string_view>

#include "model/wire_models.h"

namespace drive {

// The service's node kinds ("kind" of a node).
namespace NodeKind {
inline constexpr std::string_view folder = "folder";
inline constexpr std::string_view project = "project";
inline constexpr std::string_view file = "file";
}  // namespace NodeKind

// The service's namespace kinds ("kind" of a namespace).
namespace NamespaceKind {
inline constexpr std::string_view personal = "personal";
inline constexpr std::string_view workspace = "workspace";
}  // namespace NamespaceKind

// PRALO's file-name extensions, without the dot, and its application kinds.
namespace Pralo {
inline constexpr std::string_view sceneExtension = "vtrscene";
inline constexpr std::string_view objectExtension = "vtrobj";
inline constexpr std::string_view sceneAppKind = "scene";
inline constexpr std::string_view objectAppKind = "object";
inline constexpr std::string_view appKinds[] = {sceneAppKind, objectAppKind, "material", "flow"};
}  // namespace Pralo

// Folders and projects hold children; everything else is a file.
bool isContainerNode(const StorageNode& node);
bool isPersonalNamespaceRecord(const StorageNamespace& storageNamespace);
// An application kind of PRALO's; `appKind` lower-cased.
bool isPraloAppKind(std::string_view appKind);
// A name or extension (lower-cased) that PRALO owns: ".vtrscene" or ".vtrobj" at the end.
bool hasPraloExtension(std::string_view lowercasedName);
bool isPraloExtension(std::string_view lowercasedExtension);

}  // namespace drive
