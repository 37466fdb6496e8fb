#pragma once

#include <filesystem>
#include <string_view>

namespace drive::replica {

// The file a running host watches for `pralodrive sync`'s requests to poll now.
inline constexpr std::string_view kSyncRequestFile = "sync-request";

// Held by the process that runs the replica's thread, so that other processes (the command
// line) know whether a host is running for this state directory.
class HostLock {
 public:
  explicit HostLock(const std::filesystem::path& stateDirectory);
  ~HostLock();
  HostLock(const HostLock&) = delete;
  HostLock& operator=(const HostLock&) = delete;

  bool held() const { return fd_ >= 0; }
  // Whether some process holds the lock now.
  static bool isHeld(const std::filesystem::path& stateDirectory);
  // Asks the running host to poll now.
  static void requestSync(const std::filesystem::path& stateDirectory);

 private:
  int fd_ = -1;
};

}  // namespace drive::replica
