#pragma once

#include <filesystem>
#include <string>

#include "model/wire_models.h"

namespace drive {

// Is the service's copy of `node` already the local file (size, then SHA-256 digest)?
bool contentMatches(const StorageNode& node, const std::filesystem::path& file);
// The local file's digest as 64 lower-case hex characters; empty when it cannot be read.
std::string fileDigest(const std::filesystem::path& file);

}  // namespace drive
