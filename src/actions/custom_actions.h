#pragma once

#include <optional>
#include <string>
#include <vector>

#include "actions/companion_command.h"

namespace drive {

// Carries out a Finder action; returns the follow-up to post once the platform has been
// answered (keep offline and online), else nothing.
std::optional<CompanionCommand> performAction(const std::string& action,
                                              const std::vector<std::string>& identifiers);

}  // namespace drive
