#include "mount/directory_snapshot.h"

#include <iterator>

namespace drive::mount {

void DirectorySnapshot::add(std::vector<Entry> entries) {
  {
    fp::MutexLock lock(mutex_);
    if (entries_.empty()) {
      entries_ = std::move(entries);
    } else {
      std::move(entries.begin(), entries.end(), std::back_inserter(entries_));
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
    if (!visit(index, entries_[index])) return;
  }
}

std::size_t DirectorySnapshot::size() const {
  fp::MutexLock lock(mutex_);
  return entries_.size();
}

}  // namespace drive::mount
