#include "mount/open_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace drive::mount {

OpenFiles::~OpenFiles() {
  for (const auto& [handle, file] : files_)
    ::close(file->fd);
}

std::uint64_t OpenFiles::add(std::shared_ptr<OpenFile> file) {
  fp::MutexLock lock(mutex_);
  const auto handle = next_++;
  files_.emplace(handle, std::move(file));
  return handle;
}

std::shared_ptr<OpenFile> OpenFiles::find(std::uint64_t handle) const {
  fp::MutexLock lock(mutex_);
  const auto found = files_.find(handle);
  return found == files_.end() ? nullptr : found->second;
}

std::shared_ptr<OpenFile> OpenFiles::release(std::uint64_t handle) {
  fp::MutexLock lock(mutex_);
  const auto found = files_.find(handle);
  if (found == files_.end()) return nullptr;
  auto file = found->second;
  files_.erase(found);
  return file;
}

std::optional<std::int64_t> OpenFiles::writtenSize(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  for (const auto& [handle, file] : files_) {
    struct stat status {};
    if (file->key == key && file->writable && !file->superseded &&
        ::fstat(file->fd, &status) == 0) {
      return status.st_size;
    }
  }
  return std::nullopt;
}

std::shared_ptr<OpenFile> OpenFiles::anyOf(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  for (const auto& [handle, file] : files_) {
    if (file->key == key) return file;
  }
  return nullptr;
}

void OpenFiles::rekey(replica::ItemKey from, replica::ItemKey to,
                      const std::function<void()>& moved) {
  fp::MutexLock lock(mutex_);
  for (auto& [handle, file] : files_) {
    if (file->key == to) file->superseded = true;
    if (file->key != from) continue;
    file->key = to;
    moved();
  }
  cachedVersions_.erase(to);
}

void OpenFiles::forEach(const std::function<void(OpenFile&)>& visit) {
  std::vector<std::shared_ptr<OpenFile>> files;
  {
    fp::MutexLock lock(mutex_);
    for (const auto& [handle, file] : files_)
      files.push_back(file);
  }
  for (const auto& file : files)
    visit(*file);
}

bool OpenFiles::keepCache(replica::ItemKey key, const fp::Bytes& version) {
  fp::MutexLock lock(mutex_);
  const auto [found, inserted] = cachedVersions_.try_emplace(key, version);
  if (inserted) return false;
  const bool same = found->second == version;
  found->second = version;
  return same;
}

void OpenFiles::dropCache(replica::ItemKey key) {
  fp::MutexLock lock(mutex_);
  cachedVersions_.erase(key);
}

}  // namespace drive::mount
