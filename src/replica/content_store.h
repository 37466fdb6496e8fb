#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

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
  // Throws ReplicaError(diskFull) when a copy of `bytes` cannot fit on the store's disk, so
  // that a download that could only fail is not started.
  void checkRoom(const std::string& name, std::int64_t bytes) const;

  // A second name for the item's copy that an upload reads from, so that a rename over the
  // copy or its drop while the upload runs cannot take the file away from under it. Removed
  // when the returned value goes.
  class Staged {
   public:
    explicit Staged(std::filesystem::path path) : path_(std::move(path)) {}
    Staged(Staged&& other) noexcept : path_(std::exchange(other.path_, {})) {}
    Staged& operator=(Staged&&) = delete;
    ~Staged();
    const std::filesystem::path& path() const { return path_; }

   private:
    std::filesystem::path path_;
  };
  Staged stage(ItemKey key, std::int64_t sequence);

  // Where downloads are received, on the store's own file system: a delivered file then moves
  // in by rename, never by a copy out of a /tmp that may be held in memory.
  std::filesystem::path arrivalDirectory() const { return directory_ / "arriving"; }

 private:
  std::filesystem::path stagingDirectory() const { return directory_ / "uploading"; }

  std::filesystem::path directory_;
};

}  // namespace drive::replica
