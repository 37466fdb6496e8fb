#pragma once

#include <chrono>
#include <string>

namespace drive::replica {

// "Name (not synced).ext": where local contents the provider refused are kept.
std::string notSyncedName(const std::string& name);
// "Name (conflicted copy YYYY-MM-DD HHMMSS).ext", in local time.
std::string conflictedCopyName(const std::string& name, std::chrono::system_clock::time_point at);
// "Name 2.ext", "Name 3.ext", … for the n-th try at a free name (n >= 2).
std::string numberedName(const std::string& name, int n);

}  // namespace drive::replica
