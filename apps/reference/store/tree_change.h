#pragma once

#include <optional>
#include <string>
#include <vector>

namespace drive::reference {

// Who changed the tree: the provider itself, or anybody else (another app, the web, a test
// playing another client). Only the latter reaches the companion's signal files.
enum class ChangeOrigin { provider, otherClient };

// A folder whose listing changed. A namespace's root node is named by its namespace too;
// an empty node id stands for the top level above the namespaces.
struct ContainerRef {
  std::string nodeId;
  std::optional<std::string> rootOfNamespace;
  bool operator==(const ContainerRef&) const = default;
};

// One change of the tree, as a watcher of the service learns of it.
struct TreeChange {
  ChangeOrigin origin = ChangeOrigin::otherClient;
  std::vector<ContainerRef> containers;
  std::vector<std::string> updatedNodeIds;
  std::vector<std::string> deletedNodeIds;
};

}  // namespace drive::reference
