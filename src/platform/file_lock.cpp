#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace fp {
namespace {

void flockRetrying(int fd, int operation) {
  while (::flock(fd, operation) != 0 && errno == EINTR) {
  }
}

}  // namespace

FileLock::FileLock(const std::filesystem::path& path)
    : fd_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  if (fd_ >= 0) flockRetrying(fd_, LOCK_EX);
}

FileLock::~FileLock() {
  if (fd_ < 0) return;
  flockRetrying(fd_, LOCK_UN);
  ::close(fd_);
}

}  // namespace fp
