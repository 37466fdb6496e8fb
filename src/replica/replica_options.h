#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace drive::replica {

inline constexpr std::uint64_t kDefaultStoreLimit = 10ull << 30;

struct ReplicaOptions {
  // Where the database lives: ${XDG_STATE_HOME:-~/.local/state}/pralodrive.
  std::filesystem::path stateDirectory;
  // Where the content store lives: ${XDG_CACHE_HOME:-~/.cache}/pralodrive.
  std::filesystem::path cacheDirectory;
  std::uint64_t storeLimit = kDefaultStoreLimit;
  std::chrono::seconds pollInterval{30};
  // Watch the companion's signal files in the app-group container (none: no watching).
  std::optional<std::filesystem::path> signalDirectory;
  // Waits between retries of a change that failed for a passing reason: the first, doubled
  // on each failure up to the longest.
  std::chrono::milliseconds firstRetry{1000};
  std::chrono::milliseconds maxBackoff{std::chrono::minutes(5)};
  // Show progress of long transfers on this terminal stream's file descriptor (-1: none).
  int progressFd = -1;

  // The default directories of the installed environment.
  static ReplicaOptions defaults();
};

}  // namespace drive::replica
