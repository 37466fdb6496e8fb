#include "app_group/sync_selection.h"

#include <algorithm>

#include "app_group/shared_file.h"
#include "model/node_kinds.h"
#include "platform/app_group_container.h"
#include "platform/json_file.h"

namespace drive::DriveSyncSelection {
namespace {

constexpr const char* kKey = "drive.sync.selection.v1";

bool contains(const std::vector<std::string>& ids, const std::string& id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// True when the selection leaves the namespace whole.
bool showsAll(const std::optional<Stored>& selection, const std::string& namespaceId) {
  return !selection || !selection->configured || contains(selection->fullNamespaceIds, namespaceId);
}

const std::vector<std::string>& chosenFolders(const Stored& selection,
                                              const std::string& namespaceId) {
  static const std::vector<std::string> none;
  const auto found = selection.folderIdsByNamespace.find(namespaceId);
  return found == selection.folderIdsByNamespace.end() ? none : found->second;
}

}  // namespace

std::optional<Stored> load() {
  const auto data = fp::appGroupDefaults().dataForKey(kKey);
  if (!data) return std::nullopt;
  return decodeSharedRecord<Stored>(fp::parseJSON(*data));
}

bool includesNamespace(const std::string& namespaceId) {
  const auto selection = load();
  return showsAll(selection, namespaceId) || !chosenFolders(*selection, namespaceId).empty();
}

std::vector<StorageNode> filterTopLevel(std::vector<StorageNode> nodes,
                                        const std::string& namespaceId) {
  const auto selection = load();
  if (showsAll(selection, namespaceId)) return nodes;
  const auto& chosen = chosenFolders(*selection, namespaceId);
  std::erase_if(nodes, [&](const StorageNode& node) {
    return isContainerNode(node) && !contains(chosen, node.id);
  });
  return nodes;
}

void to_json(nlohmann::json& json, const Stored& stored) {
  json = {{"configured", stored.configured},
          {"fullNamespaceIds", stored.fullNamespaceIds},
          {"folderIdsByNamespace", stored.folderIdsByNamespace}};
}

void from_json(const nlohmann::json& json, Stored& stored) {
  json.at("configured").get_to(stored.configured);
  json.at("fullNamespaceIds").get_to(stored.fullNamespaceIds);
  json.at("folderIdsByNamespace").get_to(stored.folderIdsByNamespace);
}

}  // namespace drive::DriveSyncSelection
