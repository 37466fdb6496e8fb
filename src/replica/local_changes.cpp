#include "replica/sibling_names.h"
#include "replica/sync_engine.h"

namespace drive::replica {
namespace {

void checkName(const std::string& name) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
      name.find('\0') != std::string::npos) {
    throw ReplicaError(ReplicaError::Kind::unsupported, "\"" + name + "\" is not a valid name.");
  }
}

double secondsNow() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Whether a change of this item goes to the service at all.
bool staysLocal(const ItemInfo& info) {
  return info.localState == LocalState::localOnly;
}

}  // namespace

ItemInfo SyncEngine::existing(ItemKey key) {
  auto found = store_.item(key);
  if (!found || store_.isRemoved(key)) {
    throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  }
  return *found;
}

ItemInfo SyncEngine::folderFor(ItemKey key) {
  auto found = existing(key);
  if (!found.isFolder) throw ReplicaError(ReplicaError::Kind::notFolder, "Not a folder.");
  return found;
}

void SyncEngine::checkFreeName(ItemKey parent, const std::string& name, ItemKey except) {
  const auto taken = store_.child(parent, name);
  if (taken && taken->key != except) {
    throw ReplicaError(ReplicaError::Kind::exists, "\"" + name + "\" already exists here.");
  }
}

std::string SyncEngine::freeName(ItemKey parent, const std::string& name) {
  auto candidate = name;
  for (int n = 2; store_.child(parent, candidate); ++n)
    candidate = numberedName(name, n);
  return candidate;
}

ItemInfo SyncEngine::create(ItemKey parent, const std::string& name, bool folder, bool writing) {
  checkName(name);
  ensureListed(parent);
  Lock lock(mutex_);
  const auto container = folderFor(parent);
  checkFreeName(parent, name, kNoKey);
  SqlTransaction transaction(store_.connection());
  const auto key = store_.insertLocal(parent, name, folder);
  try {
    store_.stamp(parent, secondsNow(), true);
    if (folder) {
      store_.setListed(key, {});
    } else {
      contents_.ensure(key);
      store_.setCopy(key, true, 0);
      store_.setLocallyModified(key, true, {});
    }
    if (staysLocal(container)) {
      store_.setLocalState(key, LocalState::localOnly, container.filename + " is not synced.");
    } else {
      store_.enqueue(key, ChangeKind::create, 0);
      store_.setLocalState(key, LocalState::waiting);
    }
    transaction.commit();
  } catch (...) {
    // A create the disk has no room for leaves nothing behind.
    contents_.drop(key);
    throw;
  }
  if (writing) ++writers_[key];
  auto created = *store_.item(key);
  lock.unlock();
  wake();
  return created;
}

void SyncEngine::contentsChanged(ItemKey key) {
  {
    Lock lock(mutex_);
    SqlTransaction transaction(store_.connection());
    markContentsChanged(key);
    transaction.commit();
  }
  wake();
}

void SyncEngine::markContentsChanged(ItemKey key) {
  const auto info = existing(key);
  if (info.isFolder) throw ReplicaError(ReplicaError::Kind::isFolder, "This is a folder.");
  // The copy went to a conflicted sibling while a handle had it open: what that handle wrote
  // went with it, and an empty file must not go up in its place.
  if (!contents_.has(key)) return;
  const auto size = contents_.sizeOf(key);
  store_.setCopy(key, true, size);
  store_.setSize(key, size);
  if (!info.locallyModified) store_.setLocallyModified(key, true, info.contentVersion);
  if (!staysLocal(info)) {
    store_.enqueue(key, info.isLocal() ? ChangeKind::create : ChangeKind::modify,
                   fp::ItemField::contents);
    store_.setLocalState(key, LocalState::waiting);
  }
}

ItemInfo SyncEngine::rename(ItemKey key, ItemKey newParent, const std::string& newName) {
  checkName(newName);
  if (key == kRootKey) throw ReplicaError(ReplicaError::Kind::refused, "The root stays.");
  ensureListed(newParent);
  Lock lock(mutex_);
  const auto info = existing(key);
  const auto target = folderFor(newParent);
  for (auto up = target; up.key != kRootKey; up = existing(up.parent)) {
    if (up.key == key) {
      throw ReplicaError(ReplicaError::Kind::unsupported, "A folder cannot go inside itself.");
    }
  }
  checkFreeName(newParent, newName, key);
  fp::ItemFields fields = 0;
  if (newName != info.filename) fields |= fp::ItemField::filename;
  if (newParent != info.parent) fields |= fp::ItemField::parentItemIdentifier;
  SqlTransaction transaction(store_.connection());
  store_.setPlace(key, newParent, newName);
  const auto now = secondsNow();
  store_.stamp(key, now, false);
  store_.stamp(info.parent, now, true);
  store_.stamp(newParent, now, true);
  if (staysLocal(info) && info.isLocal() && !staysLocal(target)) {
    joinSync(key);
  } else if (fields != 0 && !staysLocal(info)) {
    store_.enqueue(key, info.isLocal() ? ChangeKind::create : ChangeKind::modify, fields);
    store_.setLocalState(key, LocalState::waiting);
  }
  transaction.commit();
  auto renamed = *store_.item(key);
  lock.unlock();
  wake();
  return renamed;
}

void SyncEngine::joinSync(ItemKey key) {
  // What the provider refuses again ends local-only again, with its reason.
  store_.enqueue(key, ChangeKind::create, 0);
  store_.setLocalState(key, LocalState::waiting);
  for (const auto& child : store_.children(key)) {
    if (child.isLocal() && staysLocal(child)) joinSync(child.key);
  }
}

ItemInfo SyncEngine::replace(ItemKey source, ItemKey target) {
  ItemInfo replaced;
  {
    Lock lock(mutex_);
    const auto from = existing(source);
    const auto into = existing(target);
    if (from.isFolder || into.isFolder) {
      throw ReplicaError(ReplicaError::Kind::isFolder, "Only a file replaces a file.");
    }
    SqlTransaction transaction(store_.connection());
    contents_.ensure(source);
    contents_.transfer(source, target);
    // Whoever still writes the new file now writes the original.
    if (const auto writing = writers_.extract(source)) writers_[target] += writing.mapped();
    // The date a program gave the new file (rsync does) goes with its contents.
    store_.setLocalModified(target, store_.localModified(source));
    markRemoved(source);
    markContentsChanged(target);
    const auto now = secondsNow();
    store_.stamp(from.parent, now, true);
    store_.stamp(into.parent, now, true);
    transaction.commit();
    replaced = *store_.item(target);
  }
  wake();
  return replaced;
}

std::filesystem::path SyncEngine::copyToEmpty(ItemKey key) {
  Lock lock(mutex_);
  const auto info = existing(key);
  if (info.isFolder) throw ReplicaError(ReplicaError::Kind::isFolder, "This is a folder.");
  contents_.ensure(key);
  return contents_.pathOf(key);
}

void SyncEngine::beginWriting(ItemKey key) {
  Lock lock(mutex_);
  if (const auto writing = writers_.find(key); writing != writers_.end()) {
    ++writing->second;
    return;
  }
  // A file removed while open is still written, with nothing left to tell.
  if (const auto info = store_.item(key); info && !store_.isRemoved(key)) {
    SqlTransaction transaction(store_.connection());
    // Written now: a date a program set before no longer holds. The change is queued at once
    // and held back until the writing ends, so that no report drops the copy from under the
    // writer and a crash meanwhile still sends what was written.
    store_.stamp(key, secondsNow(), true);
    markContentsChanged(key);
    transaction.commit();
  }
  writers_[key] = 1;
}

void SyncEngine::endWriting(ItemKey key) {
  {
    Lock lock(mutex_);
    const auto found = writers_.find(key);
    if (found != writers_.end() && --found->second <= 0) writers_.erase(found);
  }
  wake();
}

void SyncEngine::holdCopy(ItemKey key) {
  Lock lock(mutex_);
  ++holders_[key];
}

void SyncEngine::releaseCopy(ItemKey key) {
  Lock lock(mutex_);
  const auto found = holders_.find(key);
  if (found != holders_.end() && --found->second <= 0) holders_.erase(found);
}

void SyncEngine::setReadOnlyHere(ItemKey key, bool readOnly) {
  Lock lock(mutex_);
  existing(key);
  store_.setReadOnlyHere(key, readOnly);
  store_.stamp(key, secondsNow(), false);
}

void SyncEngine::setModified(ItemKey key, double seconds) {
  Lock lock(mutex_);
  existing(key);
  store_.stamp(key, secondsNow(), false);
  store_.setLocalModified(key, seconds);
}

void SyncEngine::remove(ItemKey key) {
  if (key == kRootKey) throw ReplicaError(ReplicaError::Kind::refused, "The root stays.");
  {
    Lock lock(mutex_);
    SqlTransaction transaction(store_.connection());
    const auto parent = existing(key).parent;
    markRemoved(key);
    store_.stamp(parent, secondsNow(), true);
    transaction.commit();
  }
  wake();
}

void SyncEngine::markRemoved(ItemKey key) {
  const auto info = existing(key);
  if (info.isFolder && !store_.children(key).empty()) {
    throw ReplicaError(ReplicaError::Kind::notEmpty, "The folder is not empty.");
  }
  if (staysLocal(info) || !store_.enqueue(key, ChangeKind::remove, 0)) {
    // Never reached the service: nothing to tell it.
    for (const auto erased : store_.erase(key))
      contents_.drop(erased);
    return;
  }
  store_.setRemoved(key, true);
  store_.setLocalState(key, LocalState::waiting);
}

}  // namespace drive::replica
