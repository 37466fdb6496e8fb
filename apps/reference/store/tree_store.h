#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/wire_models.h"
#include "reference/store/sqlite_database.h"

namespace drive::reference {

// Namespaces, nodes and which blob holds each file's content, in SQLite. Plain storage: the
// service's rules live in StorageService, and callers serialise access.
class TreeStore {
 public:
  explicit TreeStore(Database& database);

  bool empty();

  void putNamespace(const StorageNamespace& space);
  // In the order they were added.
  std::vector<StorageNamespace> namespaces();
  std::vector<StorageNode> roots();

  std::optional<StorageNode> node(std::string_view id);
  // Every child, trashed ones included, in the order they were added.
  std::vector<StorageNode> children(std::string_view parentId);
  // Adds the node or replaces the one with its id; a replaced node keeps its place.
  void putNode(const StorageNode& node);
  // Whether a child of the parent that is not trashed, other than `exceptId`, has the name
  // under Unicode case folding.
  bool nameTaken(std::string_view parentId, std::string_view name, std::string_view exceptId);
  // Gives the node and everything below it the namespace.
  void moveSubtreeToNamespace(std::string_view id, std::string_view namespaceId);

  std::optional<std::string> blobOf(std::string_view nodeId);
  void setBlob(std::string_view nodeId, std::string_view blob);

 private:
  Database& database_;
};

}  // namespace drive::reference
