#pragma once

#include <condition_variable>
#include <deque>
#include <string>
#include <thread>

#include "mount/fuse_api.h"
#include "mount/kernel_names.h"
#include "mount/open_files.h"
#include "platform/thread_annotations.h"
#include "replica/replica.h"

namespace drive::mount {

// Tells the kernel to forget entries and attributes that changed outside its sight, from a
// thread of its own: an invalidation sent from a request handler, or while holding a lock a
// handler needs, can hang the mount.
class InvalidationQueue : public replica::ReplicaObserver {
 public:
  InvalidationQueue(replica::Replica& replica, KernelNames& names, OpenFiles& files);
  ~InvalidationQueue() override;

  // Starts sending to this session; until then, and after stop, nothing is sent.
  void start(fuse_session* session);
  void stop();

  void itemAdded(replica::ItemKey parent, replica::ItemKey key) override;
  void itemChanged(replica::ItemKey oldParent, replica::ItemKey parent, replica::ItemKey key,
                   bool contentsChanged) override;
  void itemRemoved(replica::ItemKey parent, replica::ItemKey key) override;

  // The kernel's size and pages of inode `key` are out of date.
  void stale(replica::ItemKey key);

 private:
  struct Event {
    enum class Kind { added, changed, removed, stale } kind;
    replica::ItemKey parent = replica::kNoKey;
    replica::ItemKey key = replica::kNoKey;
    bool contents = false;
    std::string name;
  };

  void push(Event event);
  void run();
  void send(const Event& event);
  void entry(replica::ItemKey parent, const std::string& name);
  void inode(replica::ItemKey key, bool contents);
  // The entry the kernel holds for `key`, when it changed place or name.
  void dropOldEntry(replica::ItemKey key);

  replica::Replica& replica_;
  KernelNames& names_;
  OpenFiles& files_;
  fp::Mutex mutex_;
  // Set only while the thread is not running, which reads it unlocked.
  fuse_session* session_ = nullptr;
  std::condition_variable wake_;
  std::deque<Event> events_ GUARDED_BY(mutex_);
  bool stopping_ GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace drive::mount
