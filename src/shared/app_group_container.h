#pragma once

#include <filesystem>

namespace drive {

// The directory shared with the companion app; not created here (writers create it).
std::filesystem::path appGroupContainerURL();

// Creates the container directory with its parents; failures are left to the writer.
void createAppGroupContainer();

}  // namespace drive
