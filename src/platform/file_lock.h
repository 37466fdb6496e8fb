#pragma once

#include <filesystem>

namespace fp {

// An exclusive flock(2) on a lock file, held for the object's lifetime and shared with every
// process that locks the same file. Waits as long as another holder keeps it. When the file
// cannot be opened nothing is held and the caller's work goes ahead unguarded.
class FileLock {
 public:
  // Opens `path` read-write, creating it with mode 0644.
  explicit FileLock(const std::filesystem::path& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_ = -1;
};

}  // namespace fp
