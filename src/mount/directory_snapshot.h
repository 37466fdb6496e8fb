#pragma once

#include <sys/stat.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/thread_annotations.h"
#include "replica/item_key.h"

namespace drive::mount {

// A directory listing as it was at opendir, so that offsets stay meaningful; only what the
// kernel is given, so that a folder of 100,000 entries costs megabytes, not a hundred. A
// folder's first listing fills it while the kernel is already reading it.
class DirectorySnapshot {
 public:
  struct Entry {
    std::string name;
    struct stat attributes;
  };
  // Gets entry `index`; false when the reader has no room for it.
  using Visitor =
      std::function<bool(std::size_t index, const char* name, const struct stat& attributes)>;

  DirectorySnapshot(replica::ItemKey self, replica::ItemKey parent)
      : self_(self), parent_(parent) {}

  replica::ItemKey self() const { return self_; }
  replica::ItemKey parent() const { return parent_; }

  void add(const std::vector<Entry>& entries);
  // No more entries come; readers waiting for them see the end.
  void finish();
  // Visits the entries from `first` on until `visit` returns false or the listed ones run
  // out; waits for a first entry still being listed.
  void visit(std::size_t first, const Visitor& visit);
  std::size_t size() const;

 private:
  const replica::ItemKey self_;
  const replica::ItemKey parent_;
  mutable fp::Mutex mutex_;
  std::condition_variable grown_;
  struct Stored {
    std::size_t nameAt;  // in names_
    struct stat attributes;
  };
  // Every name, each ended by a NUL: one block, not one allocation per entry, so that a large
  // folder's names neither cost their own headers nor pin pages of freed memory.
  std::string names_ GUARDED_BY(mutex_);
  std::vector<Stored> entries_ GUARDED_BY(mutex_);
  bool finished_ GUARDED_BY(mutex_) = false;
};

}  // namespace drive::mount
