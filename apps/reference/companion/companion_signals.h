#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/thread_annotations.h"

namespace drive::reference {

// The user's choice of what to sync, as the companion stores it.
struct SyncSelection {
  bool configured = false;
  std::vector<std::string> fullNamespaceIds;
  std::map<std::string, std::vector<std::string>> folderIdsByNamespace;

  nlohmann::ordered_json toJSON() const;
  // None when a key is missing or of the wrong type.
  static std::optional<SyncSelection> fromJSON(const nlohmann::json& json);
};

// The companion app's side of the files it shares with the provider in the app-group
// container: news of remote changes, the policy refresh list and the sync selection.
class CompanionSignals {
 public:
  explicit CompanionSignals(std::filesystem::path container);

  const std::filesystem::path& container() const { return container_; }

  // Something changed on the service: the containers must be listed again (raising the
  // generation), the items published as updated or deleted.
  void noteRemoteChange(const std::vector<std::string>& pending,
                        const std::vector<std::string>& updates,
                        const std::vector<std::string>& deletes);
  void writePolicyRefresh(const std::vector<std::string>& identifiers);
  void writeSyncSelection(const SyncSelection& selection);
  void clearSyncSelection();

 private:
  std::filesystem::path container_;
  fp::Mutex mutex_;  // guards the read-change-write of the signal files, no member
};

}  // namespace drive::reference
