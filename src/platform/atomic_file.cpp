#include "platform/atomic_file.h"

#include <fcntl.h>
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

bool writeFileAtomically(const std::filesystem::path& target, std::string_view bytes, mode_t mode,
                         Durability durability) {
  const bool flush = durability == Durability::flushed;
  const auto directory = target.has_parent_path() ? target.parent_path() : ".";
  std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  // Close-on-exec: a host may spawn processes while a write is under way.
  const int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
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
