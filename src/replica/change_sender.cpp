#include <algorithm>

#include "platform/blocking_calls.h"
#include "platform/environment.h"
#include "platform/sha256.h"
#include "replica/refusal.h"
#include "replica/replica_log.h"
#include "replica/sibling_names.h"
#include "replica/sync_engine.h"
#include "replica/transfer_progress.h"

namespace drive::replica {
namespace {

namespace calls = fp::BlockingCalls;

std::string hexOf(const fp::Bytes& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string text;
  for (const auto byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

fp::ItemPtr templateOf(const ItemInfo& item, const std::string& identifier,
                       const std::string& parentId) {
  return std::make_shared<fp::ItemTemplate>(
      identifier, parentId, item.filename,
      item.isFolder ? fp::UniformType::folder() : fp::UniformType::data());
}

bool carriesContents(const PendingChange& change) {
  return change.kind == ChangeKind::create ||
         (change.kind == ChangeKind::modify && (change.fields & fp::ItemField::contents));
}

std::int64_t fileSize(const std::filesystem::path& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  return error ? 0 : static_cast<std::int64_t>(size);
}

}  // namespace

std::int64_t SyncEngine::nowMs() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::optional<PendingChange> SyncEngine::nextDueChange() {
  const auto now = nowMs();
  std::vector<ItemKey> seen;
  for (const auto& change : store_.pending()) {
    // A change waits for earlier changes of its item.
    if (std::find(seen.begin(), seen.end(), change.key) != seen.end()) continue;
    seen.push_back(change.key);
    if (change.nextTryMs > now) continue;
    if (carriesContents(change) && writers_.contains(change.key)) continue;  // once written
    const auto item = store_.item(change.key);
    if (!item) {
      store_.finishChange(change.sequence);
      continue;
    }
    if (change.kind == ChangeKind::remove) return change;
    const auto parent = store_.item(item->parent);
    if (!parent) continue;
    if (parent->localState == LocalState::localOnly) {
      // Below a folder that stays on this machine, the child stays too.
      refuseCreate(change, change.key, parent->filename + " is not synced.", true);
      continue;
    }
    if (!parent->isLocal()) return change;  // else: waits for its parent's create
  }
  return std::nullopt;
}

bool SyncEngine::sendNextChange() {
  std::optional<OutgoingChange> outgoing;
  {
    Lock lock(mutex_);
    SqlTransaction transaction(store_.connection());
    if (const auto change = nextDueChange()) {
      store_.beginSending(change->sequence);
      store_.setLocalState(change->key, LocalState::transferring);
      outgoing.emplace(prepare(*change));
    }
    transaction.commit();
  }
  if (!outgoing) return false;
  sendChange(*outgoing);
  return true;
}

OutgoingChange SyncEngine::prepare(const PendingChange& change) {
  OutgoingChange outgoing{change, *store_.item(change.key), {}, std::nullopt};
  outgoing.parentId = store_.item(outgoing.item.parent)->identifier;
  if (carriesContents(change) && !outgoing.item.isFolder) {
    outgoing.contents.emplace(contents_.stage(change.key, change.sequence));
  }
  return outgoing;
}

void SyncEngine::sendChange(const OutgoingChange& outgoing) {
  const auto& change = outgoing.change;
  try {
    switch (change.kind) {
      case ChangeKind::create:
        sendCreate(outgoing);
        break;
      case ChangeKind::modify:
        sendModify(outgoing);
        break;
      case ChangeKind::remove:
        sendDelete(change, outgoing.item);
        break;
    }
  } catch (const fp::PlatformError& error) {
    failChange(change, outgoing.item, error);
  } catch (const ReplicaError& error) {
    failChange(change, outgoing.item,
               fp::PlatformError::withDescription(
                   fp::NSCocoaErrorDomain, fp::CocoaErrorCode::fileReadUnknown, error.what()));
  }
}

void SyncEngine::sendCreate(const OutgoingChange& outgoing) {
  const auto& [change, item, parentId, staged] = outgoing;
  std::optional<fp::URL> contents;
  if (staged) contents = staged->path();
  // After an attempt that may have reached the service, the provider adopts what it made.
  const fp::CreateItemOptions options =
      change.attempts > 0 ? fp::CreateItemOption::mayAlreadyExist : 0;
  TransferProgress progress(options_.progressFd, "Uploading", item.filename,
                            staged ? fileSize(staged->path()) : 0);
  auto reply = calls::createItem(extension_, templateOf(item, "", parentId), contents, options);
  if (reply.error) throw *reply.error;
  settleChange(change, reply.item);
}

void SyncEngine::sendModify(const OutgoingChange& outgoing) {
  const auto& [change, item, parentId, staged] = outgoing;
  auto fields = change.fields;
  std::optional<fp::URL> contents;
  if (staged) {
    auto service = calls::itemForIdentifier(extension_, item.identifier);
    if (service.error) throw *service.error;
    const auto serviceVersion = service.item->itemVersion().contentVersion;
    fp::Bytes base;
    {
      Lock lock(mutex_);
      base = store_.baseVersion(item.key);
    }
    const auto local = hexOf(fp::SHA256::hashFile(staged->path()).value_or(fp::Bytes{}));
    if (fp::Bytes(local.begin(), local.end()) == serviceVersion) {
      fields &= ~fp::ItemField::contents;  // already there: a retry after our upload landed
    } else if (serviceVersion != base) {
      Lock lock(mutex_);
      SqlTransaction transaction(store_.connection());
      keepAsSibling(item.key, conflictedCopyName(item.filename, std::chrono::system_clock::now()),
                    true);
      transaction.commit();
      fields &= ~fp::ItemField::contents;
    } else {
      contents = staged->path();
    }
  }
  TransferProgress progress(options_.progressFd, "Uploading", item.filename,
                            contents ? fileSize(*contents) : 0);
  auto reply = calls::modifyItem(extension_, templateOf(item, item.identifier, parentId),
                                 fields & ~fp::ItemField::contents, contents);
  if (reply.error) throw *reply.error;
  settleChange(change, reply.item);
}

void SyncEngine::sendDelete(const PendingChange& change, const ItemInfo& item) {
  // An item that never reached the service has nothing to delete there.
  if (!item.isLocal()) {
    auto reply = calls::deleteItem(extension_, item.identifier);
    if (reply.error && verdictOf(*reply.error) != Verdict::gone) throw *reply.error;
  }
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  for (const auto erased : store_.erase(item.key))
    contents_.drop(erased);
  store_.finishChange(change.sequence);
  transaction.commit();
}

void SyncEngine::settleChange(const PendingChange& change, const fp::ItemPtr& reported) {
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  const auto key = change.key;
  const auto info = *store_.item(key);
  store_.finishChange(change.sequence);
  store_.retryNow();
  // The provider may answer with an item the replica already knows (adoption).
  if (const auto other = store_.keyOf(reported->itemIdentifier()); other && *other != key) {
    for (const auto erased : store_.erase(*other))
      contents_.drop(erased);
  }
  store_.setIdentifier(key, reported->itemIdentifier());
  store_.report(*reported, info.parent);
  // Changed again since the upload was staged, or being written now: the copy stays ahead.
  // Asked before the rename below is queued, which changes no contents.
  const bool ahead = (store_.hasPending(key) || writers_.contains(key)) && info.locallyModified;
  // The service names a new item uniquely against its trash too, so a file deleted and made
  // again comes back as "name 2": the name given here stands, and follows as a rename.
  if (change.kind == ChangeKind::create && reported->filename() != info.filename) {
    store_.setPlace(key, info.parent, info.filename);
    store_.enqueue(key, ChangeKind::modify, fp::ItemField::filename);
  }
  const bool more = store_.hasPending(key) || writers_.contains(key);
  // A copy given up to a conflicted sibling is fetched again on the next read.
  if (!info.isFolder && contents_.has(key)) {
    const auto size = contents_.sizeOf(key);
    store_.setCopy(key, true, size);
    store_.setLocallyModified(key, ahead, reported->itemVersion().contentVersion);
    if (ahead) store_.setSize(key, size);
  }
  store_.setLocalState(key, more ? LocalState::waiting : LocalState::inStep);
  // A folder made here has no other children than ours.
  if (change.kind == ChangeKind::create && info.isFolder) store_.setListed(key, {});
  const auto settled = *store_.item(key);
  transaction.commit();
  lock.unlock();
  // The service kept another name (trimmed, say): observers must learn it like a remote rename.
  if (settled.filename != info.filename) {
    notify({{RemoteEvent::Kind::changed, info.parent, info.parent, key, false}});
  }
}

void SyncEngine::failChange(const PendingChange& change, const ItemInfo& item,
                            const fp::PlatformError& error) {
  const auto verdict = verdictOf(error);
  const auto reason = error.localizedDescription();
  replicaLog().info(changeKindWord(change.kind) + " of " + item.filename + ": " + reason);
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  if (change.kind != ChangeKind::remove && store_.isRemoved(change.key)) {
    // Removed here while the change was on its way (a file saved over another): the queued
    // removal settles it, whatever this change met.
    store_.finishChange(change.sequence);
  } else if (verdict == Verdict::transient) {
    const auto shift = std::min(change.attempts, 20);
    const auto delay =
        std::min<std::int64_t>(options_.maxBackoff.count(), options_.firstRetry.count() << shift);
    store_.retryLater(change.sequence, nowMs() + delay, reason);
    store_.setLocalState(change.key, LocalState::waiting, reason);
  } else if (change.kind == ChangeKind::create) {
    refuseCreate(change, change.key, reason, verdict == Verdict::excluded);
  } else if (verdict == Verdict::excluded) {
    store_.finishChange(change.sequence);
    store_.setLocalState(change.key, LocalState::localOnly, "Excluded from sync.");
  } else if (verdict == Verdict::gone) {
    store_.finishChange(change.sequence);
    recreateLocally(change.key);
  } else {
    store_.finishChange(change.sequence);
    if ((change.fields & fp::ItemField::contents) && item.locallyModified) {
      keepAsSibling(change.key, notSyncedName(item.filename), false);
    }
    transaction.commit();
    lock.unlock();
    undoFromService(change.key, reason);
    return;
  }
  transaction.commit();
}

void SyncEngine::refuseCreate(const PendingChange& change, ItemKey key, const std::string& reason,
                              bool excluded) {
  store_.finishChange(change.sequence);
  store_.setLocalState(key, LocalState::localOnly, excluded ? "Excluded from sync." : reason);
}

void SyncEngine::keepAsSibling(ItemKey key, const std::string& name, bool queueCreate) {
  if (!contents_.has(key)) return;  // nothing written here is left to keep
  const auto info = *store_.item(key);
  const auto sibling = store_.insertLocal(info.parent, freeName(info.parent, name), false);
  contents_.transfer(key, sibling);
  store_.setCopy(sibling, true, contents_.sizeOf(sibling));
  store_.setLocallyModified(sibling, true, {});
  if (queueCreate) {
    store_.enqueue(sibling, ChangeKind::create, 0);
    store_.setLocalState(sibling, LocalState::waiting);
  } else {
    store_.setLocalState(sibling, LocalState::localOnly, "The service refused these contents.");
  }
  // The item itself takes the service's contents on the next read.
  store_.setCopy(key, false, 0);
  store_.setLocallyModified(key, false, {});
}

void SyncEngine::undoFromService(ItemKey key, const std::string& reason) {
  std::string identifier = identifierOf(key);
  auto reply = calls::itemForIdentifier(extension_, identifier);
  std::vector<RemoteEvent> events;
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  store_.setRemoved(key, false);
  if (!reply.error) {
    const auto parent =
        store_.keyOf(reply.item->parentItemIdentifier()).value_or(store_.item(key)->parent);
    const auto outcome = store_.report(*reply.item, parent);
    if (outcome.copyDropped) contents_.drop(key);
    // The name or place taken back must reach observers as a remote change would, or the
    // refused one would go on resolving.
    if (outcome.changed) {
      events.push_back(
          {RemoteEvent::Kind::changed, outcome.oldParent, parent, key, outcome.contentsChanged});
    }
  }
  store_.setLocalState(key, LocalState::refused, reason);
  transaction.commit();
  lock.unlock();
  notify(events);
}

void SyncEngine::recreateLocally(ItemKey key) {
  store_.setIdentifier(key, "local:" + std::to_string(key));
  for (const auto& change : store_.pending()) {
    if (change.key == key) store_.finishChange(change.sequence);
  }
  store_.setRemoved(key, false);
  store_.enqueue(key, ChangeKind::create, 0);
  store_.setLocalState(key, LocalState::waiting);
}

}  // namespace drive::replica
