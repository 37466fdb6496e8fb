#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "model/wire_models.h"
#include "reference/store/blob_store.h"
#include "reference/store/identity_store.h"
#include "reference/store/tree_store.h"

namespace drive::reference {

// How a node differs from a plain child of its parent.
struct NodeOptions {
  std::optional<std::string> role;  // default: the parent's
  bool isPersonal = false;
  bool trashed = false;
  std::chrono::hours age{0};  // how long ago it was created
};

struct BuiltNamespace {
  StorageNamespace space;
  StorageNode root;
};

// Fills the stores directly, past the service's rules and without telling any watcher: for
// seeding, and for tests that need a tree the rules would not let them make.
class TreeBuilder {
 public:
  TreeBuilder(TreeStore& tree, IdentityStore& identity, BlobStore& blobs,
              std::chrono::system_clock::time_point now);

  TreeStore& tree() { return tree_; }
  IdentityStore& identity() { return identity_; }

  // `kind` is "personal" or "workspace"; the root and everything below get `role`.
  BuiltNamespace addNamespace(std::string_view kind, std::string_view title,
                              std::string_view role = "owner");
  StorageNode addFolder(const StorageNode& parent, std::string_view name,
                        const NodeOptions& options = {});
  StorageNode addProject(const StorageNode& parent, std::string_view name,
                         const NodeOptions& options = {});
  StorageNode addFile(const StorageNode& parent, std::string_view name, std::string_view content,
                      const NodeOptions& options = {});
  // A PRALO document of the kind "scene", "object", "material" or "flow"; it has no content.
  StorageNode addDocument(const StorageNode& parent, std::string_view name,
                          std::string_view appKind, const NodeOptions& options = {});

 private:
  StorageNode newNode(const StorageNode& parent, std::string_view name, std::string_view kind,
                      const NodeOptions& options);
  StorageNode put(StorageNode node);

  TreeStore& tree_;
  IdentityStore& identity_;
  BlobStore& blobs_;
  std::chrono::system_clock::time_point now_;
};

}  // namespace drive::reference
