#include "replica/sync_engine.h"

#include <sstream>

#include "platform/environment.h"
#include "replica/replica_log.h"

namespace drive::replica {
namespace {

std::filesystem::path databaseFile(const ReplicaOptions& options) {
  std::error_code error;
  std::filesystem::create_directories(options.stateDirectory, error);
  return options.stateDirectory / "replica.db";
}

// The system gives its extension a temporary directory on the replica's volume; so does this
// host.
void receiveDownloadsIn(const std::filesystem::path& directory) {
  auto environment = *fp::Environment::current();
  environment.temporaryDirectory = directory;
  fp::Environment::install(std::move(environment));
}

}  // namespace

SyncEngine::SyncEngine(FileProviderExtension& extension, ReplicaOptions options)
    : extension_(extension),
      options_(std::move(options)),
      store_(databaseFile(options_), false),
      contents_(options_.cacheDirectory / "contents") {
  receiveDownloadsIn(contents_.arrivalDirectory());
  store_.resumeInterrupted();
  store_.setStoreLimit(options_.storeLimit);
}

SyncEngine::~SyncEngine() {
  stop();
}

void SyncEngine::start() {
  ensureListed(kRootKey);
  if (worker_.joinable()) return;
  {
    fp::MutexLock lock(wakeMutex_);
    stopping_ = false;
    pollWanted_ = false;
  }
  worker_ = std::thread([this] { workerLoop(); });
  hostLock_ = std::make_unique<HostLock>(options_.stateDirectory);
  if (options_.signalDirectory) {
    watcher_ = std::make_unique<SignalWatcher>(
        *options_.signalDirectory,
        std::vector<std::string>{"drive-remote-refresh.json", "drive-remote-items.json",
                                 "drive-policy-refresh.json"},
        [this] { syncNow(); });
  }
  requests_ = std::make_unique<SignalWatcher>(
      options_.stateDirectory, std::vector<std::string>{std::string(kSyncRequestFile)},
      [this] { syncNow(); });
}

void SyncEngine::stop() {
  watcher_.reset();
  requests_.reset();
  {
    fp::MutexLock lock(wakeMutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (worker_.joinable()) worker_.join();
  // Downloads a caller gave up on still end in the store: not after another host took over.
  fetchRunner_.waitIdle();
  hostLock_.reset();
}

void SyncEngine::wake() {
  {
    fp::MutexLock lock(wakeMutex_);
    changeWanted_ = true;
  }
  wake_.notify_all();
}

void SyncEngine::syncNow() {
  {
    fp::MutexLock lock(wakeMutex_);
    pollWanted_ = true;
    changeWanted_ = true;
  }
  wake_.notify_all();
}

void SyncEngine::workerLoop() {
  // Changes queued before the start meet the service as it is now: a remote delete of an
  // edited item must be seen before the edit goes up.
  auto nextPoll = std::chrono::steady_clock::now();
  for (;;) {
    bool poll = false;
    {
      fp::MutexLock lock(wakeMutex_);
      if (stopping_) return;
      poll = pollWanted_ || std::chrono::steady_clock::now() >= nextPoll;
      pollWanted_ = false;
      changeWanted_ = false;
    }
    if (poll) nextPoll = std::chrono::steady_clock::now() + options_.pollInterval;
    try {
      if (!runCycle(poll)) return;
    } catch (const std::exception& error) {
      // The host outlives whatever one cycle met; the next cycle tries again.
      replicaLog().error(std::string("Sync cycle failed: ") + error.what());
    }
    idle_.notify_all();
    fp::MutexLock lock(wakeMutex_);
    const auto due = std::min(nextPoll, std::chrono::steady_clock::now() +
                                            std::chrono::milliseconds(options_.firstRetry));
    lock.waitUntil(wake_, due, [this]() REQUIRES(wakeMutex_) {
      return stopping_ || pollWanted_ || changeWanted_;
    });
  }
}

bool SyncEngine::runCycle(bool poll) {
  if (poll) {
    refreshFolders();
    refreshWorkingSet();
  }
  bool sent = false;
  while (sendNextChange()) {
    sent = true;
    fp::MutexLock lock(wakeMutex_);
    if (stopping_) return false;
  }
  // What our own changes did on the service comes back through the working set.
  if (sent) refreshWorkingSet();
  return true;
}

bool SyncEngine::waitUntilIdle(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    {
      Lock lock(mutex_);
      if (store_.queueLength() == 0) return true;
    }
    wake();
    fp::MutexLock lock(wakeMutex_);
    if (lock.waitUntil(idle_, std::min(deadline, std::chrono::steady_clock::now() +
                                                     std::chrono::milliseconds(50))) ==
            std::cv_status::timeout &&
        std::chrono::steady_clock::now() >= deadline) {
      Lock database(mutex_);
      return store_.queueLength() == 0;
    }
  }
}

void SyncEngine::runOnce() {
  ensureListed(kRootKey);
  refreshFolders();
  refreshWorkingSet();
  // Every change gets one try; those that must wait stay queued for the next run.
  const auto attempted = [this] {
    Lock lock(mutex_);
    return store_.pending().size();
  }();
  for (std::size_t tries = 0; tries < attempted * 2 + 1 && sendNextChange(); ++tries) {
  }
}

std::optional<ItemInfo> SyncEngine::item(ItemKey key) {
  Lock lock(mutex_);
  auto found = store_.item(key);
  if (found && store_.isRemoved(key)) return std::nullopt;
  return found;
}

std::optional<ItemInfo> SyncEngine::child(ItemKey parent, const std::string& name) {
  ensureListed(parent);
  Lock lock(mutex_);
  return store_.child(parent, name);
}

bool SyncEngine::isListed(ItemKey folder) {
  Lock lock(mutex_);
  return store_.isListed(folder);
}

void SyncEngine::requireFolder(ItemKey key) {
  const auto info = item(key);
  if (!info) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  if (!info->isFolder) throw ReplicaError(ReplicaError::Kind::notFolder, "Not a folder.");
}

std::vector<ItemInfo> SyncEngine::children(ItemKey folder, bool listingOnly) {
  requireFolder(folder);
  ensureListed(folder);
  Lock lock(mutex_);
  return listingOnly ? store_.listing(folder) : store_.children(folder);
}

void SyncEngine::listing(ItemKey folder, const ListingSink& sink) {
  requireFolder(folder);
  if (ensureListed(folder, &sink)) return;
  auto entries = [&] {
    Lock lock(mutex_);
    return store_.listing(folder);
  }();
  sink(entries);
}

std::optional<ItemInfo> SyncEngine::itemAtPath(const std::string& path) {
  auto current = item(kRootKey);
  std::stringstream parts(path);
  for (std::string name; current && std::getline(parts, name, '/');) {
    if (name.empty()) continue;
    if (!current->isFolder) return std::nullopt;
    current = child(current->key, name);
  }
  return current;
}

std::string SyncEngine::pathOf(ItemKey key) {
  Lock lock(mutex_);
  return store_.pathOf(key);
}

std::string SyncEngine::identifierOf(ItemKey key) {
  Lock lock(mutex_);
  auto found = store_.item(key);
  if (!found) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  return found->identifier;
}

std::string SyncEngine::webLink(ItemKey key) {
  const auto base = fp::Environment::current()->webBaseURL;
  Lock lock(mutex_);
  auto found = store_.item(key);
  if (!found) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  // A file opens the folder that holds it.
  if (!found->isFolder) {
    if (auto parent = store_.item(found->parent)) found = parent;
  }
  if (!found->identifier.starts_with("node:")) return base + "/drive";
  return base + "/drive?node=" + found->identifier.substr(5);
}

ReplicaStatus SyncEngine::status() {
  Lock lock(mutex_);
  return store_.status(options_.storeLimit);
}

StoreUsage SyncEngine::usage() {
  Lock lock(mutex_);
  return {options_.storeLimit, store_.storedBytes()};
}

void SyncEngine::addObserver(std::shared_ptr<ReplicaObserver> observer) {
  fp::MutexLock lock(observersMutex_);
  observers_.push_back(std::move(observer));
}

void SyncEngine::removeObserver(const std::shared_ptr<ReplicaObserver>& observer) {
  fp::MutexLock lock(observersMutex_);
  std::erase(observers_, observer);
}

void SyncEngine::notify(const std::vector<RemoteEvent>& events) {
  if (events.empty()) return;
  std::vector<std::shared_ptr<ReplicaObserver>> observers;
  {
    fp::MutexLock lock(observersMutex_);
    observers = observers_;
  }
  for (const auto& observer : observers) {
    for (const auto& event : events) {
      switch (event.kind) {
        case RemoteEvent::Kind::added:
          observer->itemAdded(event.parent, event.key);
          break;
        case RemoteEvent::Kind::changed:
          observer->itemChanged(event.oldParent, event.parent, event.key, event.contentsChanged);
          break;
        case RemoteEvent::Kind::removed:
          observer->itemRemoved(event.parent, event.key);
          break;
      }
    }
  }
}

}  // namespace drive::replica
