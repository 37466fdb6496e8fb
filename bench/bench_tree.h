#pragma once

#include <string>
#include <utility>
#include <vector>

#include "reference/reference_service.h"

namespace drive::bench {

// Fills the service with what the benchmarks use, in one transaction: folders of 100,000 and
// of 10,000 empty files, a small file, an empty file to receive large contents, a sparse 4 GiB
// file and a folder for uploads. Returns (name, node id) pairs: "large", "medium", "small",
// "content", "huge", "uploads".
std::vector<std::pair<std::string, std::string>> buildBenchTree(
    reference::ReferenceService& service);

}  // namespace drive::bench
