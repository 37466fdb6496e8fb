#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/thread_annotations.h"
#include "replica/item_key.h"

namespace drive::mount {

// What the kernel has been told: under which name in which folder it knows each inode, so
// that a remote rename or removal can drop that very entry; and inodes that now stand for
// another item (a file saved by rename over an original is the original from then on).
class KernelNames {
 public:
  struct Entry {
    replica::ItemKey parent = replica::kNoKey;
    std::string name;
  };

  void told(replica::ItemKey key, replica::ItemKey parent, const std::string& name);
  std::optional<Entry> entryOf(replica::ItemKey key) const;
  void forget(replica::ItemKey key);

  // `from` is answered as `to` until the kernel forgets it.
  void alias(replica::ItemKey from, replica::ItemKey to);
  replica::ItemKey resolve(replica::ItemKey key) const;
  // The other inodes the kernel may hold for `key`'s item: those answered as it.
  std::vector<replica::ItemKey> aliasesOf(replica::ItemKey key) const;

 private:
  mutable fp::Mutex mutex_;
  std::unordered_map<replica::ItemKey, Entry> entries_ GUARDED_BY(mutex_);
  std::unordered_map<replica::ItemKey, replica::ItemKey> aliases_ GUARDED_BY(mutex_);
};

}  // namespace drive::mount
