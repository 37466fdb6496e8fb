#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "api/wire_models.h"

namespace drive {

// What the activity file shows for a node: line feeds as blanks, trimmed.
std::string displayName(const std::string& name);

// Is the service's copy of `node` already the local file (size, then SHA-256 digest)?
bool contentMatches(const StorageNode& node, const std::filesystem::path& file);
// The local file's digest as 64 lower-case hex characters; empty when it cannot be read.
std::string fileDigest(const std::filesystem::path& file);

// Uploads `file` as the node's content, shown as an upload in the activity file.
StorageNode uploadWithActivity(const StorageNode& node, const std::filesystem::path& file);

// Writable for this user: the personal namespace, or a role of "editor" or "owner".
bool isWritableNode(const StorageNode& node);

// Adds the node to the materialised set of the disk state.
void recordMaterialized(const std::string& nodeId);

}  // namespace drive
