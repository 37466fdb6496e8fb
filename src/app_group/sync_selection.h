#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "model/wire_models.h"

namespace drive {

// What the user chose to sync, as the companion app stores it under "drive.sync.selection.v1"
// in the app group's defaults. Read on every use, never written here; anything unreadable
// shows everything.
namespace DriveSyncSelection {

struct Stored {
  bool configured = false;
  std::vector<std::string> fullNamespaceIds;
  std::map<std::string, std::vector<std::string>> folderIdsByNamespace;
  bool operator==(const Stored&) const = default;
};

// None when no value is stored or it cannot be decoded.
std::optional<Stored> load();
// Whether the namespace's folder appears at the root of the domain.
bool includesNamespace(const std::string& namespaceId);
// The nodes directly under a namespace's root that appear, in their order: every file, and
// the folders and projects chosen for a partly selected namespace.
std::vector<StorageNode> filterTopLevel(std::vector<StorageNode> nodes,
                                        const std::string& namespaceId);

void to_json(nlohmann::json& json, const Stored& stored);
void from_json(const nlohmann::json& json, Stored& stored);

}  // namespace DriveSyncSelection
}  // namespace drive
