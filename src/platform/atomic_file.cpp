#include "platform/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace fp {
namespace {

// Large contents go out in pieces: one huge write() makes the kernel dirty and throttle the
// whole range at once, which on small machines costs far more than the copy itself.
constexpr std::size_t kWriteChunk = 256 * 1024;

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), std::min(bytes.size(), kWriteChunk));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void syncDirectory(const std::filesystem::path& directory) {
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

}  // namespace

int createHeldTemporary(const std::filesystem::path& target, std::string& path) {
  const auto directory = target.has_parent_path() ? target.parent_path() : ".";
  for (int attempt = 0; attempt < 3; ++attempt) {
    path = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
    // Close-on-exec: a host may spawn processes while a write is under way.
    const int fd = ::mkostemp(path.data(), O_CLOEXEC);
    if (fd < 0) return -1;
    struct stat held {
    }, named{};
    if (::flock(fd, LOCK_EX) == 0 && ::fstat(fd, &held) == 0 && ::stat(path.c_str(), &named) == 0 &&
        held.st_ino == named.st_ino && held.st_dev == named.st_dev) {
      return fd;
    }
    ::close(fd);
  }
  return -1;
}

bool writeFileAtomically(const std::filesystem::path& target, std::string_view bytes, mode_t mode,
                         Durability durability) {
  const bool flush = durability == Durability::flushed;
  const auto directory = target.has_parent_path() ? target.parent_path() : ".";
  std::string pattern;
  const int fd = createHeldTemporary(target, pattern);
  if (fd < 0) return false;
  const bool written =
      writeAll(fd, bytes) && ::fchmod(fd, mode) == 0 && (!flush || ::fsync(fd) == 0);
  const bool closed = ::close(fd) == 0;
  if (!written || !closed || ::rename(pattern.c_str(), target.c_str()) != 0) {
    ::unlink(pattern.c_str());
    return false;
  }
  if (flush) syncDirectory(directory);
  return true;
}

void removeAbandonedPartialFiles(const std::filesystem::path& directory,
                                 std::string_view targetPrefix) {
  const std::string hidden = "." + std::string(targetPrefix);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const auto name = entry.path().filename().string();
    if (!name.starts_with(hidden) || !entry.is_regular_file(error)) continue;
    const int fd = ::open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) continue;
    // Removed under the lock, so a writer that takes it afterwards sees its name gone.
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0) ::unlink(entry.path().c_str());
    ::close(fd);
  }
}

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
  // Plain descriptors: shared files are read on every request, and a stream costs more.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  std::string contents;
  bool ok = ::fstat(fd, &info) == 0;
  if (ok) contents.reserve(static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)));
  char buffer[64 * 1024];
  while (ok) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      ok = got == 0;
      break;
    }
    contents.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fd);
  if (!ok) return std::nullopt;
  return contents;
}

}  // namespace fp
