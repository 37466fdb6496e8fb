#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "replica/item_key.h"

namespace drive::replica {

// One queued local change.
struct QueuedChange {
  std::int64_t sequence = 0;
  ItemKey key = kNoKey;
  std::string kind;  // "create", "modify", "delete"
  std::string path;  // the item's path in the drive
  int attempts = 0;
  std::optional<std::chrono::system_clock::time_point> nextTry;
  std::string lastError;
};

// An item that does not reach the service, and why.
struct HeldItem {
  ItemKey key = kNoKey;
  std::string path;
  std::string state;  // "refused" or "local only"
  std::string reason;
};

struct StoreUsage {
  std::uint64_t limit = 0;
  std::uint64_t used = 0;
};

// What `pralodrive status` shows; read from the database alone.
struct ReplicaStatus {
  std::int64_t itemsKnown = 0;
  std::int64_t foldersListed = 0;
  StoreUsage store;
  std::int64_t keptOffline = 0;
  std::vector<QueuedChange> queue;
  std::vector<HeldItem> held;
};

}  // namespace drive::replica
