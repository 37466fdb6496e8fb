#pragma once

#include <filesystem>
#include <string>

namespace drive::fuzz {

// Installs an environment whose home, container and temporary folders lie in a fresh folder
// under $TMPDIR, removed again when the process exits. Returns that folder.
std::filesystem::path installScratchEnvironment();

}  // namespace drive::fuzz
