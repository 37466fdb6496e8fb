#pragma once

#include <optional>

#include "platform/replicated_extension.h"

namespace drive {

// Creates the template's item on the service, or adopts what already stands for it there
// (a namespace at the root, a same-named child, a child with the same content on re-import).
fp::ItemPtr createItem(const fp::ItemPtr& itemTemplate, const std::optional<fp::URL>& contents,
                       fp::CreateItemOptions options);

// A name no child has yet: "Plan 3.pdf" after "Plan.pdf" and "plan 2.pdf", "Untitled" when
// blank.
std::string uniqueChildName(const std::string& wanted, const std::vector<std::string>& childNames);

}  // namespace drive
