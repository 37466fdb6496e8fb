#pragma once

#include <optional>
#include <string>

#include "replica/replica.h"

namespace drive::mount {

// The extended attributes the drive shows on its items, all under "user.pralodrive.".
inline constexpr const char* kXattrPrefix = "user.pralodrive.";
inline constexpr const char* kActionXattr = "user.pralodrive.action";

// The names an item has, each ending in NUL, as listxattr(2) wants them.
std::string xattrNames();
// An attribute's value; none for a name the drive does not have.
std::optional<std::string> xattrValue(replica::Replica& replica, const replica::ItemInfo& info,
                                      const std::string& name);
// Performs the action named by `value` (a short name or an identifier) on the item. Throws
// ReplicaError (unsupported) for a name that is no action.
void performNamedAction(replica::Replica& replica, replica::ItemKey key, const std::string& value);

}  // namespace drive::mount
