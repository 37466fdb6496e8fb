#pragma once

#include <string>
#include <string_view>

namespace fp {

// Item identifiers are plain strings that the platform stores and hands back.
using ItemIdentifier = std::string;

// The platform's container constants; their values are their own names.
inline constexpr std::string_view NSFileProviderRootContainerItemIdentifier =
    "NSFileProviderRootContainerItemIdentifier";
inline constexpr std::string_view NSFileProviderWorkingSetContainerItemIdentifier =
    "NSFileProviderWorkingSetContainerItemIdentifier";
inline constexpr std::string_view NSFileProviderTrashContainerItemIdentifier =
    "NSFileProviderTrashContainerItemIdentifier";

}  // namespace fp
