#pragma once

#include <string>
#include <vector>

namespace drive {

// The service's node ids behind item identifiers, in order: containers are skipped, a
// namespace folder gives its root node (when the listing knows it), others their node id.
std::vector<std::string> resolveNodeIds(const std::vector<std::string>& identifiers);

}  // namespace drive
