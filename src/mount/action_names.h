#pragma once

#include <optional>
#include <string>

namespace drive::mount {

// The provider's action identifier for a short name (offline, online, open, send-copy,
// request, history) or for the identifier itself; none for anything else.
std::optional<std::string> actionIdentifier(const std::string& nameOrIdentifier);

// "offline, online, open, send-copy, request, history", for messages.
std::string actionShortNames();

}  // namespace drive::mount
