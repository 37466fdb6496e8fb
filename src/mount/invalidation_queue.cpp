#include "mount/invalidation_queue.h"

#include <algorithm>

namespace drive::mount {

InvalidationQueue::InvalidationQueue(replica::Replica& replica, KernelNames& names,
                                     OpenFiles& files)
    : replica_(replica), names_(names), files_(files) {}

InvalidationQueue::~InvalidationQueue() {
  stop();
}

void InvalidationQueue::start(fuse_session* session) {
  fp::MutexLock lock(mutex_);
  session_ = session;
  stopping_ = false;
  thread_ = std::thread([this] { run(); });
}

void InvalidationQueue::stop() {
  {
    fp::MutexLock lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
  fp::MutexLock lock(mutex_);
  session_ = nullptr;
  events_.clear();
}

void InvalidationQueue::itemAdded(replica::ItemKey parent, replica::ItemKey key) {
  push({Event::Kind::added, parent, key, false, {}});
}

void InvalidationQueue::itemChanged(replica::ItemKey, replica::ItemKey parent, replica::ItemKey key,
                                    bool contentsChanged) {
  if (contentsChanged) files_.dropCache(key);
  push({Event::Kind::changed, parent, key, contentsChanged, {}});
}

void InvalidationQueue::itemRemoved(replica::ItemKey parent, replica::ItemKey key) {
  push({Event::Kind::removed, parent, key, false, {}});
}

void InvalidationQueue::stale(replica::ItemKey key) {
  push({Event::Kind::stale, replica::kNoKey, key, true, {}});
}

void InvalidationQueue::push(Event event) {
  {
    fp::MutexLock lock(mutex_);
    if (stopping_ || !session_) return;
    // A run of writes makes an inode stale once.
    if (event.kind == Event::Kind::stale &&
        std::any_of(events_.begin(), events_.end(), [&](const Event& waiting) {
          return waiting.kind == event.kind && waiting.key == event.key;
        })) {
      return;
    }
    events_.push_back(std::move(event));
  }
  wake_.notify_one();
}

void InvalidationQueue::run() {
  fp::MutexLock lock(mutex_);
  while (true) {
    lock.wait(wake_, [this]() REQUIRES(mutex_) { return stopping_ || !events_.empty(); });
    if (stopping_) break;
    const auto event = std::move(events_.front());
    events_.pop_front();
    lock.unlock();
    send(event);
    lock.lock();
  }
}

void InvalidationQueue::send(const Event& event) {
  switch (event.kind) {
    case Event::Kind::added:
      if (const auto info = replica_.item(event.key)) entry(event.parent, info->filename);
      inode(event.parent, false);
      break;
    case Event::Kind::changed:
      dropOldEntry(event.key);
      inode(event.key, event.contents);
      inode(event.parent, false);
      break;
    case Event::Kind::removed:
      if (const auto known = names_.entryOf(event.key)) entry(known->parent, known->name);
      inode(event.parent, false);
      break;
    case Event::Kind::stale:
      fuse_lowlevel_notify_inval_inode(session_, event.key, 0, 0);
      break;
  }
}

void InvalidationQueue::dropOldEntry(replica::ItemKey key) {
  const auto known = names_.entryOf(key);
  const auto info = replica_.item(key);
  if (!known || !info) return;
  if (known->parent != info->parent || known->name != info->filename) {
    entry(known->parent, known->name);
    names_.told(key, info->parent, info->filename);
    inode(known->parent, false);
  }
}

void InvalidationQueue::entry(replica::ItemKey parent, const std::string& name) {
  // ENOENT only means the kernel did not hold it.
  fuse_lowlevel_notify_inval_entry(session_, parent, name.c_str(), name.size());
}

void InvalidationQueue::inode(replica::ItemKey key, bool contents) {
  fuse_lowlevel_notify_inval_inode(session_, key, contents ? 0 : -1, 0);
  // A file saved by rename is also the inode the kernel moved to its name.
  for (const auto alias : names_.aliasesOf(key))
    fuse_lowlevel_notify_inval_inode(session_, alias, contents ? 0 : -1, 0);
}

}  // namespace drive::mount
