#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/thread_annotations.h"
#include "replica/item_info.h"

namespace drive::mount {

// One open(2) of a file of the mount: a descriptor on the content store's copy.
struct OpenFile {
  replica::ItemKey key = replica::kNoKey;
  int fd = -1;
  bool writable = false;
  // Written past the kernel's page cache (a write-only handle): what it writes makes the
  // pages other handles cached stale.
  bool uncached = false;
  // Written since the contents were last handed to the replica; the replica holds the item as
  // being written meanwhile. Requests of one handle may run at once.
  std::atomic<bool> dirty = false;
  // The item as it was opened, for fstat after an unlink.
  replica::ItemInfo info;
  // Opened on contents another file was saved over since: its descriptor holds the old ones.
  bool superseded = false;
};

// The open files of the mount, by the handle the kernel holds. Each file's descriptor is
// closed when its handle is released.
class OpenFiles {
 public:
  ~OpenFiles();

  std::uint64_t add(std::shared_ptr<OpenFile> file);
  std::shared_ptr<OpenFile> find(std::uint64_t handle) const;
  std::shared_ptr<OpenFile> release(std::uint64_t handle);

  // The size being written to an item, when some handle writes it.
  std::optional<std::int64_t> writtenSize(replica::ItemKey key) const;
  // Any handle of the item, for an item that is gone from the drive but still open.
  std::shared_ptr<OpenFile> anyOf(replica::ItemKey key) const;
  // Handles of `from` now write `to` (a file saved by rename over another); those `to` had
  // hold its old contents. `moved` runs for each handle moved, in step with `release`.
  void rekey(replica::ItemKey from, replica::ItemKey to, const std::function<void()>& moved);
  void forEach(const std::function<void(OpenFile&)>& visit);

  // Whether the kernel may keep its cached pages of the item: the contents are the version
  // it saw at the last open. Records the version.
  bool keepCache(replica::ItemKey key, const fp::Bytes& version);
  void dropCache(replica::ItemKey key);

 private:
  mutable fp::Mutex mutex_;
  std::uint64_t next_ GUARDED_BY(mutex_) = 1;
  std::unordered_map<std::uint64_t, std::shared_ptr<OpenFile>> files_ GUARDED_BY(mutex_);
  std::unordered_map<replica::ItemKey, fp::Bytes> cachedVersions_ GUARDED_BY(mutex_);
};

}  // namespace drive::mount
