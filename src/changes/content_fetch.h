#pragma once

#include <optional>

#include "platform/replicated_extension.h"

namespace drive {

// The delivered file and the item rebuilt after the download.
struct FetchResult {
  fp::URL url;
  fp::ItemPtr item;
};

// Downloads a file's content into a fresh temporary file and records it as materialised.
// Containers, namespace folders and PRALO documents are refused.
FetchResult fetchContents(const fp::ItemIdentifier& identifier,
                          const std::optional<fp::ItemVersion>& requestedVersion);

}  // namespace drive
