#pragma once

#include "actions/companion_command.h"

namespace drive {

// Posts a command to the companion app's loopback endpoint; anything but a 200 means
// "Drive is not running." (DriveAPIError::message).
void postCommand(const CompanionCommand& command);

// For follow-ups the platform has already been answered for: up to 6 attempts 0.35 s apart,
// each failure traced as "helper retry <attempt> <action> <description>", then given up.
void postCommandWithRetries(const CompanionCommand& command);

}  // namespace drive
