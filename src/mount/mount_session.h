#pragma once

#include <filesystem>
#include <memory>

#include "mount/drive_file_system.h"

namespace drive::mount {

struct MountOptions {
  std::filesystem::path mountpoint;
  // Lets other users in; the kernel checks the modes either way.
  bool allowOther = false;
};

// The drive mounted at a folder: a FUSE session over the replica, from mount to unmount.
class MountSession {
 public:
  // Mounts at once; throws MountError when the folder cannot be mounted.
  MountSession(replica::Replica& replica, const MountOptions& options);
  // Unmounts, if run() has not.
  ~MountSession();
  MountSession(const MountSession&) = delete;
  MountSession& operator=(const MountSession&) = delete;

  // Answers the kernel until the folder is unmounted or stop() is called (with
  // `handleSignals`, also until Ctrl-C or SIGTERM); then hands every pending write to the
  // replica and unmounts.
  void run(bool handleSignals);
  // Ends run() from another thread.
  void stop();

  DriveFileSystem& fileSystem() { return *fileSystem_; }

 private:
  void unmount();

  MountOptions options_;
  std::unique_ptr<DriveFileSystem> fileSystem_;
  fuse_session* session_ = nullptr;
  bool mounted_ = false;
};

}  // namespace drive::mount
