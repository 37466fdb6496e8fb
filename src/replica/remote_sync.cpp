#include <malloc.h>

#include <algorithm>
#include <iterator>
#include <unordered_map>

#include "platform/blocking_calls.h"
#include "replica/replica_log.h"
#include "replica/sync_engine.h"

namespace drive::replica {
namespace {

namespace calls = fp::BlockingCalls;

const std::string kWorkingSetAnchor = "working-set-anchor";
constexpr std::size_t kLargeListing = 10000;

bool isExpired(const fp::Error& error) {
  return error && error->domain() == fp::NSFileProviderErrorDomain &&
         error->code() == fp::FileProviderErrorCode::syncAnchorExpired;
}

RemoteEvent eventFor(const ReportOutcome& outcome, ItemKey parent) {
  if (outcome.added) return {RemoteEvent::Kind::added, kNoKey, parent, outcome.key, false};
  return {RemoteEvent::Kind::changed, outcome.oldParent, parent, outcome.key,
          outcome.contentsChanged};
}

void logFailure(const std::string& what, const fp::PlatformError& error) {
  replicaLog().info(what + " failed: " + error.localizedDescription());
}

// Hands the entries of a listing on in batches while it is recorded: the new items as they
// are inserted, then those the database had before.
class ListingFeed {
 public:
  explicit ListingFeed(const ListingSink* sink) : sink_(sink) {}

  // Where the next report puts a new item's entry.
  ItemInfo* entry() { return sink_ ? &next_ : nullptr; }
  void recorded(const ReportOutcome& outcome) {
    if (!outcome.added) return;
    // Keys only grow: every item this listing added has a key at or above its first.
    firstAdded_ = std::min(firstAdded_, outcome.key);
    if (!sink_) return;
    batch_.push_back(std::move(next_));
    next_ = {};
    if (batch_.size() >= kBatch) flush();
  }
  // The items the database had before: what this listing added needs no second look.
  ItemKey keysBelow() const { return firstAdded_; }
  void finish(std::vector<ItemInfo> earlier) {
    std::move(earlier.begin(), earlier.end(), std::back_inserter(batch_));
    flush();
  }

 private:
  static constexpr std::size_t kBatch = 256;

  void flush() {
    if (!batch_.empty()) (*sink_)(batch_);
    batch_.clear();
  }

  const ListingSink* sink_;
  ItemInfo next_;
  std::vector<ItemInfo> batch_;
  ItemKey firstAdded_ = kEveryKey;
};

}  // namespace

bool SyncEngine::ensureListed(ItemKey folder, const ListingSink* sink) {
  {
    Lock lock(mutex_);
    if (store_.isListed(folder)) return false;
    const auto info = store_.item(folder);
    // Folders not yet on the service (or kept local) have only what was made here.
    if (!info || !info->isFolder || info->isLocal() || info->localState == LocalState::localOnly) {
      return false;
    }
  }
  return listFolder(folder, nullptr, sink);
}

bool SyncEngine::listFolder(ItemKey folder, std::vector<RemoteEvent>* events,
                            const ListingSink* sink) {
  fp::MutexLock listing(listMutex_);
  if (!events) {
    Lock lock(mutex_);
    if (store_.isListed(folder)) return false;  // someone else listed it while we waited
  }
  const auto identifier = identifierOf(folder);
  auto enumerator = extension_.enumeratorForContainerItemIdentifier(identifier, {});
  auto reply = calls::enumerateItems(*enumerator);
  if (reply.error) {
    throw ReplicaError(ReplicaError::Kind::failed, reply.error->localizedDescription());
  }
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  ListingFeed feed(sink);
  std::vector<ItemKey> listed;
  listed.reserve(reply.items.size());
  for (const auto& item : reply.items) {
    const auto outcome = store_.report(*item, folder, feed.entry());
    feed.recorded(outcome);
    listed.push_back(outcome.key);
    if (outcome.copyDropped) contents_.drop(outcome.key);
    if (events && (outcome.added || outcome.changed)) events->push_back(eventFor(outcome, folder));
  }
  reply.items.clear();
  std::vector<RemoteEvent> removals;
  for (const auto key : store_.childrenMissingFrom(folder, listed, feed.keysBelow()))
    applyRemoteRemoval(key, removals);
  if (events) events->insert(events->end(), removals.begin(), removals.end());
  if (sink) feed.finish(store_.listing(folder, feed.keysBelow()));
  store_.setListed(folder, events ? store_.anchor(folder) : fp::Bytes{});
  transaction.commit();
  // A large listing leaves its items' memory with the allocator's per-thread arenas; a host
  // that runs for days should not keep that peak.
  if (listed.size() >= kLargeListing) malloc_trim(0);
  return true;
}

void SyncEngine::applyUpdates(ItemKey folder, const std::vector<fp::ItemPtr>& items,
                              std::vector<RemoteEvent>* events) {
  for (const auto& item : items) {
    auto parent = folder;
    if (parent == kNoKey) {
      const auto known = store_.keyOf(item->parentItemIdentifier());
      // Items under folders nobody listed are not part of the replica.
      if (!known || !store_.isListed(*known)) continue;
      parent = *known;
    }
    const auto outcome = store_.report(*item, parent);
    if (outcome.copyDropped) contents_.drop(outcome.key);
    if (outcome.added || outcome.changed) events->push_back(eventFor(outcome, parent));
  }
}

bool SyncEngine::holdsLocalWork(const ItemInfo& info) {
  if (store_.isRemoved(info.key)) return false;
  if (!info.isFolder) {
    // A queued rename of a copy never downloaded has nothing to bring back.
    return info.locallyModified || (store_.hasPending(info.key) && contents_.has(info.key));
  }
  if (info.isLocal()) return true;
  const auto children = store_.children(info.key);
  return std::any_of(children.begin(), children.end(),
                     [this](const ItemInfo& child)
                         REQUIRES(mutex_) { return holdsLocalWork(child); });
}

void SyncEngine::applyRemoteRemoval(ItemKey key, std::vector<RemoteEvent>& events) {
  const auto info = store_.item(key);
  if (!info) return;
  if (!holdsLocalWork(*info)) {
    for (const auto erased : store_.erase(key))
      contents_.drop(erased);
    events.push_back({RemoteEvent::Kind::removed, info->parent, info->parent, key, false});
    return;
  }
  // What the user wrote is not lost: it goes back up as new items, and a folder with it.
  if (info->isFolder) {
    for (const auto& child : store_.children(key))
      applyRemoteRemoval(child.key, events);
  }
  recreateLocally(key);
}

void SyncEngine::refreshFolders() {
  std::vector<ItemKey> folders;
  {
    Lock lock(mutex_);
    folders = store_.listedFolders();
  }
  std::vector<RemoteEvent> events;
  // Deletions wait for every folder's updates: an item moved between two listed folders is
  // reported deleted in one and updated in the other, and must keep its key.
  std::vector<std::pair<ItemKey, fp::ItemIdentifier>> deletions;
  for (const auto folder : folders) {
    fp::Bytes anchor;
    std::string identifier;
    {
      Lock lock(mutex_);
      // A folder made here (or made again) has no changes on the service to ask for yet.
      if (!store_.isListed(folder) || store_.item(folder)->isLocal()) continue;
      anchor = store_.anchor(folder);
      identifier = store_.item(folder)->identifier;
    }
    auto enumerator = extension_.enumeratorForContainerItemIdentifier(identifier, {});
    auto reply = calls::enumerateChanges(*enumerator, anchor);
    if (isExpired(reply.error)) {
      try {
        listFolder(folder, &events);
      } catch (const ReplicaError& error) {
        replicaLog().info(error.what());
      }
      continue;
    }
    if (reply.error) {
      logFailure("Changes of " + identifier, *reply.error);
      continue;
    }
    Lock lock(mutex_);
    SqlTransaction transaction(store_.connection());
    applyUpdates(folder, reply.items, &events);
    store_.retryNow();  // the service is reachable: waiting changes need not wait longer
    for (const auto& deleted : reply.deleted)
      deletions.emplace_back(folder, deleted);
    store_.setListed(folder, reply.anchor);
    transaction.commit();
  }
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  for (const auto& [folder, identifier] : deletions) {
    const auto key = store_.keyOf(identifier);
    if (key && store_.item(*key)->parent == folder) applyRemoteRemoval(*key, events);
  }
  transaction.commit();
  lock.unlock();
  notify(events);
}

void SyncEngine::refreshWorkingSet() {
  const std::string identifier(fp::NSFileProviderWorkingSetContainerItemIdentifier);
  auto enumerator = extension_.enumeratorForContainerItemIdentifier(identifier, {});
  fp::Bytes anchor;
  {
    Lock lock(mutex_);
    anchor = store_.value(kWorkingSetAnchor);
  }
  std::vector<RemoteEvent> events;
  for (int batch = 0; batch < 1000; ++batch) {
    auto reply = calls::enumerateChanges(*enumerator, anchor);
    if (isExpired(reply.error)) reply = calls::enumerateItems(*enumerator);
    if (reply.error) {
      logFailure("Working set", *reply.error);
      break;
    }
    Lock lock(mutex_);
    SqlTransaction transaction(store_.connection());
    applyUpdates(kNoKey, reply.items, &events);
    for (const auto& deleted : reply.deleted) {
      if (const auto key = store_.keyOf(deleted)) applyRemoteRemoval(*key, events);
    }
    if (!reply.anchor.empty()) anchor = reply.anchor;
    store_.setValue(kWorkingSetAnchor, anchor);
    transaction.commit();
    if (!reply.moreComing) break;
  }
  notify(events);
}

}  // namespace drive::replica
