#pragma once

#include <time.h>

#include <optional>
#include <unordered_map>

#include "platform/thread_annotations.h"
#include "replica/item_key.h"

namespace drive::mount {

// Access times set by programs (touch -a, cp -a, utimensat), for the life of the mount: the
// service keeps none, and without one set an item's access time is its modification time.
class AccessTimes {
 public:
  void set(replica::ItemKey key, const timespec& when);
  std::optional<timespec> of(replica::ItemKey key) const;
  void forget(replica::ItemKey key);

 private:
  mutable fp::Mutex mutex_;
  std::unordered_map<replica::ItemKey, timespec> times_ GUARDED_BY(mutex_);
};

}  // namespace drive::mount
