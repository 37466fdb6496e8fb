#pragma once

#include <chrono>
#include <filesystem>

namespace drive::mount {

// One mount per drive: an flock on a file beside the drive's database, naming the process
// and the folder. A crashed mount leaves its folder behind as a dead FUSE mount, which the
// next mount detects and detaches.
class MountLock {
 public:
  // Throws MountError when the drive is mounted already, naming where.
  MountLock(const std::filesystem::path& stateDirectory, const std::filesystem::path& mountpoint);
  ~MountLock();
  MountLock(const MountLock&) = delete;
  MountLock& operator=(const MountLock&) = delete;

  // Records the process that holds the mount (after a daemon's fork).
  void recordOwner();
  // Leaves the lock to a forked child: this process closes its descriptor only.
  void leaveToChild();

  // Waits until no process holds the drive's mount; false when the time ran out.
  static bool waitUntilFree(const std::filesystem::path& stateDirectory,
                            std::chrono::milliseconds timeout);

 private:
  int fd_ = -1;
  std::filesystem::path mountpoint_;
};

// A folder where a FUSE mount's process died: every access fails with ENOTCONN.
bool isStaleMount(const std::filesystem::path& folder);
// How many drives are mounted at `folder` (alive or not).
int mountCount(const std::filesystem::path& folder);
// Unmounts `folder` with fusermount3; `lazy` detaches it even while it is busy. Throws
// MountError with fusermount3's words.
void unmountFolder(const std::filesystem::path& folder, bool lazy);

}  // namespace drive::mount
