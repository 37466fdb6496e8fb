#include "reference/companion/companion_signals.h"

#include <algorithm>

#include "platform/app_group_container.h"
#include "platform/json_file.h"
#include "platform/user_defaults.h"

namespace drive::reference {
namespace {

constexpr const char* kRemoteRefresh = "drive-remote-refresh.json";
constexpr const char* kRemoteItems = "drive-remote-items.json";
constexpr const char* kPolicyRefresh = "drive-policy-refresh.json";
constexpr const char* kSyncSelectionKey = "drive.sync.selection.v1";

using Strings = std::vector<std::string>;

template <typename T>
T member(const nlohmann::json& object, const char* key, T fallback) {
  const auto found = object.find(key);
  if (found == object.end()) return fallback;
  try {
    return found->get<T>();
  } catch (const nlohmann::json::exception&) {
    return fallback;
  }
}

void append(Strings& list, const Strings& additions) {
  for (const auto& item : additions) {
    if (std::find(list.begin(), list.end(), item) == list.end()) list.push_back(item);
  }
}

void removeAll(Strings& list, const Strings& removals) {
  std::erase_if(list, [&](const std::string& item) {
    return std::find(removals.begin(), removals.end(), item) != removals.end();
  });
}

// The object a shared file holds; empty when it is missing or holds anything else.
nlohmann::json readObject(const std::filesystem::path& file) {
  auto value = fp::readJSONFile(file);
  return value && value->is_object() ? *value : nlohmann::json::object();
}

}  // namespace

nlohmann::ordered_json SyncSelection::toJSON() const {
  nlohmann::ordered_json json;
  json["configured"] = configured;
  json["fullNamespaceIds"] = fullNamespaceIds;
  json["folderIdsByNamespace"] = folderIdsByNamespace;
  return json;
}

std::optional<SyncSelection> SyncSelection::fromJSON(const nlohmann::json& json) {
  try {
    return SyncSelection{json.at("configured").get<bool>(),
                         json.at("fullNamespaceIds").get<Strings>(),
                         json.at("folderIdsByNamespace").get<std::map<std::string, Strings>>()};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

CompanionSignals::CompanionSignals(std::filesystem::path container)
    : container_(std::move(container)) {}

void CompanionSignals::noteRemoteChange(const Strings& pending, const Strings& updates,
                                        const Strings& deletes) {
  fp::MutexLock lock(mutex_);
  const auto refresh = readObject(container_ / kRemoteRefresh);
  auto pendingList = member(refresh, "pending", Strings());
  append(pendingList, pending);
  nlohmann::json newRefresh;
  newRefresh["generation"] = member<std::int64_t>(refresh, "generation", 0) + 1;
  newRefresh["pending"] = pendingList;
  // Signals are best effort, as a companion's are: one not written leaves the change on the
  // service, where the provider's next listing finds it.
  (void)fp::writeJSONFile(container_ / kRemoteRefresh, newRefresh);

  // The latest news of an item wins: an item deleted after an update is only deleted.
  const auto items = readObject(container_ / kRemoteItems);
  auto updateList = member(items, "updates", Strings());
  auto deleteList = member(items, "deletes", Strings());
  removeAll(updateList, deletes);
  removeAll(deleteList, updates);
  append(updateList, updates);
  append(deleteList, deletes);
  nlohmann::json newItems;
  newItems["updates"] = updateList;
  newItems["deletes"] = deleteList;
  (void)fp::writeJSONFile(container_ / kRemoteItems, newItems);  // best effort, as above
}

void CompanionSignals::writePolicyRefresh(const Strings& identifiers) {
  fp::MutexLock lock(mutex_);
  (void)fp::writeJSONFile(container_ / kPolicyRefresh, identifiers);  // best effort, as above
}

void CompanionSignals::writeSyncSelection(const SyncSelection& selection) {
  fp::UserDefaults::suite(fp::kAppGroupIdentifier, container_)
      .setData(selection.toJSON().dump(), kSyncSelectionKey);
}

void CompanionSignals::clearSyncSelection() {
  fp::UserDefaults::suite(fp::kAppGroupIdentifier, container_)
      .removeObjectForKey(kSyncSelectionKey);
}

}  // namespace drive::reference
