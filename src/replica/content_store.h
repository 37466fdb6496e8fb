#pragma once

#include <cstdint>
#include <filesystem>

#include "replica/item_key.h"

namespace drive::replica {

// The files of the content store, one per item key. Knows nothing of the database.
class ContentStore {
 public:
  explicit ContentStore(std::filesystem::path directory);

  std::filesystem::path pathOf(ItemKey key) const;
  // Moves a delivered file into the store as the item's copy; copies across file systems.
  // Throws ReplicaError(failed) when the disk refuses.
  void adopt(const std::filesystem::path& delivered, ItemKey key);
  // Moves one item's copy to another item.
  void transfer(ItemKey from, ItemKey to);
  // An empty copy, unless there is one already.
  void ensure(ItemKey key);
  void drop(ItemKey key);
  std::int64_t sizeOf(ItemKey key) const;
  bool has(ItemKey key) const;

 private:
  std::filesystem::path directory_;
};

}  // namespace drive::replica
