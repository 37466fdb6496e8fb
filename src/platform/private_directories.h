#pragma once

#include <filesystem>

namespace fp {

// Creates `directory` and whichever of its parents are missing, each with mode 0700: what the
// provider keeps shows the names of the user's files. Existing folders keep their modes.
// True when the directory exists afterwards.
bool createPrivateDirectories(const std::filesystem::path& directory);

}  // namespace fp
