#pragma once

#include <string>
#include <vector>

#include "actions/companion_command.h"

namespace drive {

// Keep offline (pin = true) or let go back to the cloud (pin = false): pins or unpins every
// folder and syncable file below the selection and returns the companion's follow-up
// ("download" or "evict" with the files found).
CompanionCommand pinSelection(const std::vector<std::string>& identifiers, bool pin);

}  // namespace drive
