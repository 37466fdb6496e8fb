#pragma once

#include <optional>

#include "extension/extension_bodies.h"

namespace drive {

// Downloads a file's content into a fresh temporary file and records it as materialised.
// Containers, namespace folders and PRALO documents are refused.
FetchResult fetchContents(const fp::ItemIdentifier& identifier,
                          const std::optional<fp::ItemVersion>& requestedVersion);

// Removes the partial downloads of killed processes from the temporary folder: those no
// process holds. Delivered files stay.
void removeAbandonedFetches();

}  // namespace drive
