#include "platform/blocking_calls.h"
#include "platform/patient_wait.h"
#include "platform/scope_exit.h"
#include "replica/sync_engine.h"
#include "replica/transfer_progress.h"

namespace drive::replica {
namespace {

namespace calls = fp::BlockingCalls;

constexpr const char* kOfflineAction = "eu.vantrel.drive.action.offline";
constexpr const char* kOnlineAction = "eu.vantrel.drive.action.online";

ReplicaError providerError(const fp::PlatformError& error) {
  const bool refused = error.domain() == fp::NSCocoaErrorDomain &&
                       error.code() == fp::CocoaErrorCode::fileWriteNoPermission;
  return ReplicaError(refused ? ReplicaError::Kind::refused : ReplicaError::Kind::failed,
                      error.localizedDescription());
}

std::filesystem::path await(const std::shared_future<std::filesystem::path>& fetch,
                            const std::function<bool()>& abandoned) {
  if (!fp::waitUnlessAbandoned(fetch, abandoned)) {
    throw ReplicaError(ReplicaError::Kind::interrupted,
                       "Interrupted; the download goes on without waiting.");
  }
  return fetch.get();
}

}  // namespace

std::filesystem::path SyncEngine::contents(ItemKey key, const std::function<bool()>& abandoned) {
  ItemInfo info;
  {
    Lock lock(mutex_);
    const auto found = store_.item(key);
    if (!found || store_.isRemoved(key)) {
      throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
    }
    info = *found;
    if (info.isFolder) throw ReplicaError(ReplicaError::Kind::isFolder, "This is a folder.");
    // A clean copy removed from the store behind the replica's back is fetched again.
    const bool lost = info.downloaded && !contents_.has(key) && !info.locallyModified &&
                      !info.isLocal() && info.localState != LocalState::localOnly;
    if (lost) store_.setCopy(key, false, 0);
    if (!lost && (info.downloaded || info.locallyModified || info.isLocal() ||
                  info.localState == LocalState::localOnly)) {
      contents_.ensure(key);
      store_.touch(key);
      return contents_.pathOf(key);
    }
  }
  std::shared_future<std::filesystem::path> shared;
  {
    fp::MutexLock lock(fetchMutex_);
    auto running = fetches_.find(key);
    if (running == fetches_.end()) {
      auto promise = std::make_shared<std::promise<std::filesystem::path>>();
      running = fetches_.emplace(key, promise->get_future().share()).first;
      fetchRunner_.post([this, key, info, promise] {
        std::filesystem::path fetched;
        std::exception_ptr failure;
        try {
          fetched = fetch(key, info);
        } catch (...) {
          failure = std::current_exception();
        }
        // Gone before anyone hears the outcome: whoever asks next, after a failure, tries anew.
        {
          fp::MutexLock done(fetchMutex_);
          fetches_.erase(key);
        }
        failure ? promise->set_exception(failure) : promise->set_value(fetched);
      });
    }
    shared = running->second;
  }
  return await(shared, abandoned);
}

std::filesystem::path SyncEngine::fetch(ItemKey key, const ItemInfo& info) {
  {
    Lock lock(mutex_);
    contents_.checkRoom(info.filename, info.size);
  }
  TransferProgress progress(options_.progressFd, "Downloading", info.filename, info.size);
  auto reply = calls::fetchContents(extension_, info.identifier);
  if (reply.error) throw providerError(*reply.error);
  // Whatever happens next, the delivered file is moved in or goes.
  const fp::ScopeExit discard([&] {
    std::error_code error;
    std::filesystem::remove(*reply.url, error);
  });
  Lock lock(mutex_);
  const auto current = store_.item(key);
  if (!current) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  // Written here while the download ran: the local contents win.
  if (current->locallyModified) return contents_.pathOf(key);
  SqlTransaction transaction(store_.connection());
  contents_.adopt(*reply.url, key);
  store_.report(*reply.item, current->parent);
  store_.setCopy(key, true, contents_.sizeOf(key));
  transaction.commit();
  evictOverLimit(key);
  return contents_.pathOf(key);
}

std::filesystem::path SyncEngine::writableCopy(ItemKey key,
                                               const std::function<bool()>& abandoned) {
  return contents(key, abandoned);
}

void SyncEngine::evictOverLimit(ItemKey keep) {
  auto used = store_.storedBytes();
  if (used <= options_.storeLimit) return;
  for (const auto& [key, bytes] : store_.evictable()) {
    if (used <= options_.storeLimit) break;
    if (key == keep || holders_.contains(key)) continue;
    contents_.drop(key);
    store_.setCopy(key, false, 0);
    used -= static_cast<std::uint64_t>(bytes);
  }
}

void SyncEngine::dropCleanCopy(ItemKey key) {
  const auto info = store_.item(key);
  if (!info || info->locallyModified || info->isLocal() || holders_.contains(key)) return;
  contents_.drop(key);
  store_.setCopy(key, false, 0);
}

std::vector<ItemKey> SyncEngine::walk(ItemKey key) {
  std::vector<ItemKey> found{key};
  for (std::size_t next = 0; next < found.size(); ++next) {
    const auto info = item(found[next]);
    if (!info || !info->isFolder) continue;
    for (const auto& child : children(found[next]))
      found.push_back(child.key);
  }
  return found;
}

void SyncEngine::performAction(ItemKey key, const std::string& action) {
  const auto identifier = identifierOf(key);
  // The provider acts only on what the service has.
  if (identifier.starts_with("local:")) {
    throw ReplicaError(ReplicaError::Kind::notYetSent,
                       "This item is not on the service yet; try again once it has been sent.");
  }
  auto reply = calls::performAction(extension_, action, {identifier});
  if (reply.error) throw providerError(*reply.error);
}

void SyncEngine::keepOffline(ItemKey key) {
  performAction(key, kOfflineAction);
  // The provider now reports the selection as kept offline: list it again to learn which.
  for (const auto folder : walk(key)) {
    const auto info = item(folder);
    if (info && info->isFolder && !info->isLocal()) {
      std::vector<RemoteEvent> events;
      listFolder(folder, &events);
      notify(events);
    }
  }
  if (const auto info = item(key); info && !info->isFolder && !info->isLocal()) {
    auto reply = calls::itemForIdentifier(extension_, info->identifier);
    if (reply.error) throw providerError(*reply.error);
    Lock lock(mutex_);
    store_.report(*reply.item, info->parent);
  }
  for (const auto below : walk(key)) {
    const auto info = item(below);
    if (!info || info->syncMode != "offline") continue;
    if (!info->isFolder) contents(below, {});
    Lock lock(mutex_);
    store_.setKeptOffline(below, true);
  }
}

void SyncEngine::makeOnline(ItemKey key) {
  performAction(key, kOnlineAction);
  const auto below = walk(key);
  Lock lock(mutex_);
  SqlTransaction transaction(store_.connection());
  for (const auto each : below) {
    store_.setKeptOffline(each, false);
    dropCleanCopy(each);
  }
  transaction.commit();
}

}  // namespace drive::replica
