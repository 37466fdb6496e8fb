#pragma once

#include <optional>

#include "platform/replicated_extension.h"

namespace drive {

// Applies a move, then a rename, then new contents to the node, in that order; other
// changed fields need no request.
fp::ItemPtr modifyItem(const fp::ItemPtr& item, fp::ItemFields changedFields,
                       const std::optional<fp::URL>& contents);

}  // namespace drive
