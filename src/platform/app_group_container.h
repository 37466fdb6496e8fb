#pragma once

#include <filesystem>

#include "platform/user_defaults.h"

namespace fp {

// The application group shared with the companion app.
inline constexpr const char* kAppGroupIdentifier = "group.eu.vantrel.drive";

// The directory shared with the companion app; not created here (writers create it).
std::filesystem::path appGroupContainerURL();

// Creates the container directory with its parents; failures are left to the writer.
void createAppGroupContainer();

// The app group's user-defaults suite, or the standard user defaults when the suite cannot be
// opened.
UserDefaults appGroupDefaults();

}  // namespace fp
