#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reference/store/storage_service.h"

namespace drive::reference {

// The service's tree as a test sees it: read without a token, and changed as another client
// would (a workspace owner elsewhere: roles are not checked, the other rules are), so that
// the companion's signal files tell the provider.
class ServiceTree {
 public:
  explicit ServiceTree(StorageService& service) : service_(service) {}

  DriveListing listing() { return service_.listing(); }
  StorageNode node(std::string_view id) { return service_.node(id); }
  // Trashed children included, as the service lists them.
  std::vector<StorageNode> children(std::string_view id) { return service_.children(id).children; }
  // "<namespace title>/<name>/<name>…" by exact names; trashed nodes are found too.
  std::optional<StorageNode> nodeAt(std::string_view path);
  std::string content(std::string_view id);

  StorageNode addFolder(std::string_view parentId, std::string_view name);
  StorageNode addFile(std::string_view parentId, std::string_view name, std::string_view content);
  StorageNode rename(std::string_view id, std::string_view name);
  StorageNode move(std::string_view id, std::string_view parentId);
  void remove(std::string_view id);
  StorageNode writeContent(std::string_view id, std::string_view bytes);

 private:
  StorageService& service_;
};

}  // namespace drive::reference
