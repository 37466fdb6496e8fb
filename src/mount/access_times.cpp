#include "mount/access_times.h"

namespace drive::mount {

void AccessTimes::set(replica::ItemKey key, const timespec& when) {
  fp::MutexLock lock(mutex_);
  times_[key] = when;
}

std::optional<timespec> AccessTimes::of(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  const auto found = times_.find(key);
  if (found == times_.end()) return std::nullopt;
  return found->second;
}

void AccessTimes::forget(replica::ItemKey key) {
  fp::MutexLock lock(mutex_);
  times_.erase(key);
}

}  // namespace drive::mount
