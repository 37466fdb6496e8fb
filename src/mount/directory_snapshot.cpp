#include "mount/directory_snapshot.h"

namespace drive::mount {

void DirectorySnapshot::add(const std::vector<Entry>& entries) {
  {
    fp::MutexLock lock(mutex_);
    for (const auto& entry : entries) {
      entries_.push_back({names_.size(), entry.attributes});
      names_.append(entry.name).push_back('\0');
    }
  }
  grown_.notify_all();
}

void DirectorySnapshot::finish() {
  {
    fp::MutexLock lock(mutex_);
    finished_ = true;
  }
  grown_.notify_all();
}

void DirectorySnapshot::visit(std::size_t first, const Visitor& visit) {
  fp::MutexLock lock(mutex_);
  lock.wait(grown_, [&]() REQUIRES(mutex_) { return finished_ || entries_.size() > first; });
  for (auto index = first; index < entries_.size(); ++index) {
    const auto& entry = entries_[index];
    if (!visit(index, names_.data() + entry.nameAt, entry.attributes)) return;
  }
}

std::size_t DirectorySnapshot::size() const {
  fp::MutexLock lock(mutex_);
  return entries_.size();
}

}  // namespace drive::mount
