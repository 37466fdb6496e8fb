#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "extension/file_provider_extension.h"
#include "platform/task_runner.h"
#include "platform/thread_annotations.h"
#include "replica/content_store.h"
#include "replica/host_lock.h"
#include "replica/item_store.h"
#include "replica/replica_error.h"
#include "replica/replica_observer.h"
#include "replica/replica_options.h"
#include "replica/signal_watcher.h"

namespace drive::replica {

// A remote change to tell the observers about once no lock is held.
struct RemoteEvent {
  enum class Kind { added, changed, removed } kind;
  ItemKey oldParent = kNoKey;
  ItemKey parent = kNoKey;
  ItemKey key = kNoKey;
  bool contentsChanged = false;
};

// A change on its way to the provider, as it stood when it was picked.
struct OutgoingChange {
  PendingChange change;
  ItemInfo item;
  std::string parentId;
  std::optional<ContentStore::Staged> contents;  // what an upload reads
};

// Everything behind Replica. The database is the one source of truth and is touched only
// under `mutex_`, never across a request to the provider.
class SyncEngine {
 public:
  SyncEngine(FileProviderExtension& extension, ReplicaOptions options);
  ~SyncEngine();

  void start();
  void stop();

  // Queries (sync_engine.cpp)
  std::optional<ItemInfo> item(ItemKey key);
  std::optional<ItemInfo> child(ItemKey parent, const std::string& name);
  bool isListed(ItemKey folder);
  std::vector<ItemInfo> children(ItemKey folder, bool listingOnly = false);
  void listing(ItemKey folder, const ListingSink& sink);
  std::optional<ItemInfo> itemAtPath(const std::string& path);
  std::string pathOf(ItemKey key);
  std::string webLink(ItemKey key);
  ReplicaStatus status();
  StoreUsage usage();
  void addObserver(std::shared_ptr<ReplicaObserver> observer);
  void removeObserver(const std::shared_ptr<ReplicaObserver>& observer);
  void syncNow();
  bool waitUntilIdle(std::chrono::milliseconds timeout);
  void runOnce();

  // Contents (content_access.cpp)
  std::filesystem::path contents(ItemKey key, const std::function<bool()>& abandoned);
  std::filesystem::path writableCopy(ItemKey key, const std::function<bool()>& abandoned);
  void keepOffline(ItemKey key);
  void makeOnline(ItemKey key);
  void performAction(ItemKey key, const std::string& action);

  // Local changes (local_changes.cpp)
  void contentsChanged(ItemKey key);
  ItemInfo create(ItemKey parent, const std::string& name, bool folder, bool writing = false);
  ItemInfo rename(ItemKey key, ItemKey newParent, const std::string& newName);
  ItemInfo replace(ItemKey source, ItemKey target);
  void setModified(ItemKey key, double seconds);
  void setReadOnlyHere(ItemKey key, bool readOnly);
  void remove(ItemKey key);
  void beginWriting(ItemKey key);
  std::filesystem::path copyToEmpty(ItemKey key);
  void endWriting(ItemKey key);
  void holdCopy(ItemKey key);
  void releaseCopy(ItemKey key);

 private:
  using Lock = fp::MutexLock;

  // Throws notFound or notFolder unless `key` is a folder.
  void requireFolder(ItemKey key);

  // Remote side (remote_sync.cpp)
  // Both true when they listed the folder just now, having fed its entries to `sink`.
  bool ensureListed(ItemKey folder, const ListingSink* sink = nullptr);
  bool listFolder(ItemKey folder, std::vector<RemoteEvent>* events,
                  const ListingSink* sink = nullptr);
  void refreshFolders();
  void refreshWorkingSet();
  void applyUpdates(ItemKey folder, const std::vector<fp::ItemPtr>& items,
                    std::vector<RemoteEvent>* events) REQUIRES(mutex_);
  void applyRemoteRemoval(ItemKey key, std::vector<RemoteEvent>& events) REQUIRES(mutex_);
  // Whether the item, or anything below it, holds what the user wrote and the service lacks.
  bool holdsLocalWork(const ItemInfo& info) REQUIRES(mutex_);
  void notify(const std::vector<RemoteEvent>& events);

  // Sending (change_sender.cpp)
  bool sendNextChange();
  std::optional<PendingChange> nextDueChange() REQUIRES(mutex_);
  OutgoingChange prepare(const PendingChange& change) REQUIRES(mutex_);
  void sendChange(const OutgoingChange& outgoing);
  void sendCreate(const OutgoingChange& outgoing);
  void sendModify(const OutgoingChange& outgoing);
  void sendDelete(const PendingChange& change, const ItemInfo& item);
  void failChange(const PendingChange& change, const ItemInfo& item,
                  const fp::PlatformError& error);
  void refuseCreate(const PendingChange& change, ItemKey key, const std::string& reason,
                    bool excluded) REQUIRES(mutex_);
  void keepAsSibling(ItemKey key, const std::string& name, bool queueCreate) REQUIRES(mutex_);
  void settleChange(const PendingChange& change, const fp::ItemPtr& item);
  void undoFromService(ItemKey key, const std::string& reason);
  void recreateLocally(ItemKey key) REQUIRES(mutex_);
  std::int64_t nowMs() const;

  // Contents (content_access.cpp)
  std::filesystem::path fetch(ItemKey key, const ItemInfo& item);
  void evictOverLimit(ItemKey keep) REQUIRES(mutex_);
  void dropCleanCopy(ItemKey key) REQUIRES(mutex_);
  std::vector<ItemKey> walk(ItemKey key);

  // Helpers (local_changes.cpp); the caller holds mutex_ and a transaction.
  void markContentsChanged(ItemKey key) REQUIRES(mutex_);
  void markRemoved(ItemKey key) REQUIRES(mutex_);
  // A local-only item (and what is local-only below it) moved where things sync.
  void joinSync(ItemKey key) REQUIRES(mutex_);
  ItemInfo existing(ItemKey key) REQUIRES(mutex_);
  ItemInfo folderFor(ItemKey key) REQUIRES(mutex_);
  void checkFreeName(ItemKey parent, const std::string& name, ItemKey except) REQUIRES(mutex_);
  std::string freeName(ItemKey parent, const std::string& name) REQUIRES(mutex_);

  void workerLoop();
  // One round of refreshing and sending; false when the engine is stopping.
  bool runCycle(bool poll);
  void wake();
  std::string identifierOf(ItemKey key);

  FileProviderExtension& extension_;
  ReplicaOptions options_;
  fp::Mutex mutex_;
  ItemStore store_ GUARDED_BY(mutex_);
  ContentStore contents_ GUARDED_BY(mutex_);
  // Items a program is writing right now, by the number of its writers: their contents wait
  // until the writing stops, so that no half-written file goes up.
  std::map<ItemKey, int> writers_ GUARDED_BY(mutex_);
  // Items whose copy a program has open, by the number of its handles: that copy stays, or what
  // they write next would go to a file no longer in the store.
  std::map<ItemKey, int> holders_ GUARDED_BY(mutex_);

  fp::Mutex fetchMutex_;
  std::map<ItemKey, std::shared_future<std::filesystem::path>> fetches_ GUARDED_BY(fetchMutex_);
  fp::Mutex listMutex_;  // one listing at a time, so a folder is never listed twice at once

  fp::Mutex observersMutex_;
  std::vector<std::shared_ptr<ReplicaObserver>> observers_ GUARDED_BY(observersMutex_);

  fp::Mutex wakeMutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  bool pollWanted_ GUARDED_BY(wakeMutex_) = false;
  bool changeWanted_ GUARDED_BY(wakeMutex_) = false;
  bool stopping_ GUARDED_BY(wakeMutex_) = false;
  bool sending_ GUARDED_BY(wakeMutex_) = false;
  std::thread worker_;
  std::unique_ptr<SignalWatcher> watcher_;
  std::unique_ptr<SignalWatcher> requests_;
  std::unique_ptr<HostLock> hostLock_;
  // Fetches run on workers of their own, so that a caller may stop waiting for one. Last, so
  // that it ends them while what they use is still there.
  fp::TaskRunner fetchRunner_;
};

}  // namespace drive::replica
