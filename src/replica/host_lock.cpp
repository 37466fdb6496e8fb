#include "replica/host_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/atomic_file.h"

namespace drive::replica {
namespace {

int lockFile(const std::filesystem::path& stateDirectory) {
  std::error_code error;
  std::filesystem::create_directories(stateDirectory, error);
  const int fd = open((stateDirectory / "host.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

HostLock::HostLock(const std::filesystem::path& stateDirectory) : fd_(lockFile(stateDirectory)) {}

HostLock::~HostLock() {
  if (fd_ >= 0) close(fd_);
}

bool HostLock::isHeld(const std::filesystem::path& stateDirectory) {
  const int fd = lockFile(stateDirectory);
  if (fd < 0) return true;
  close(fd);
  return false;
}

void HostLock::requestSync(const std::filesystem::path& stateDirectory) {
  // Without the file the running host still syncs at its next poll.
  (void)fp::writeFileAtomically(stateDirectory / std::string(kSyncRequestFile), "sync\n");
}

}  // namespace drive::replica
