#pragma once

#include <cstdint>

namespace drive::replica {

// An item's number in the replica, fixed for its whole life: it survives renames, moves and
// the rewrite of a local identifier to the service's one, so a file system can use it as an
// inode number.
using ItemKey = std::uint64_t;

inline constexpr ItemKey kNoKey = 0;
// The domain's root container.
inline constexpr ItemKey kRootKey = 1;

}  // namespace drive::replica
