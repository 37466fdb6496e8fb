#include "replica/replica.h"

#include "replica/item_store.h"
#include "replica/sync_engine.h"

namespace drive::replica {

Replica::Replica(FileProviderExtension& extension, ReplicaOptions options)
    : engine_(std::make_unique<SyncEngine>(extension, std::move(options))) {}

Replica::~Replica() = default;

void Replica::start() {
  engine_->start();
}
void Replica::stop() {
  engine_->stop();
}

std::optional<ItemInfo> Replica::item(ItemKey key) {
  return engine_->item(key);
}
std::optional<ItemInfo> Replica::child(ItemKey parent, const std::string& name) {
  return engine_->child(parent, name);
}
bool Replica::isListed(ItemKey folder) {
  return engine_->isListed(folder);
}
std::vector<ItemInfo> Replica::children(ItemKey folder) {
  return engine_->children(folder);
}
std::vector<ItemInfo> Replica::listing(ItemKey folder) {
  return engine_->children(folder, true);
}
void Replica::listing(ItemKey folder, const ListingSink& sink) {
  engine_->listing(folder, sink);
}
std::optional<ItemInfo> Replica::itemAtPath(const std::string& path) {
  return engine_->itemAtPath(path);
}
std::string Replica::pathOf(ItemKey key) {
  return engine_->pathOf(key);
}
std::string Replica::webLink(ItemKey key) {
  return engine_->webLink(key);
}
ReplicaStatus Replica::status() {
  return engine_->status();
}
StoreUsage Replica::usage() {
  return engine_->usage();
}

std::filesystem::path Replica::contents(ItemKey key, const std::function<bool()>& abandoned) {
  return engine_->contents(key, abandoned);
}
std::filesystem::path Replica::writableCopy(ItemKey key, const std::function<bool()>& abandoned) {
  return engine_->writableCopy(key, abandoned);
}
std::filesystem::path Replica::copyToEmpty(ItemKey key) {
  return engine_->copyToEmpty(key);
}
void Replica::contentsChanged(ItemKey key) {
  engine_->contentsChanged(key);
}

ItemInfo Replica::createFile(ItemKey parent, const std::string& name, bool writing) {
  return engine_->create(parent, name, false, writing);
}
ItemInfo Replica::createFolder(ItemKey parent, const std::string& name) {
  return engine_->create(parent, name, true);
}
ItemInfo Replica::rename(ItemKey key, ItemKey newParent, const std::string& newName) {
  return engine_->rename(key, newParent, newName);
}
ItemInfo Replica::replace(ItemKey source, ItemKey target) {
  return engine_->replace(source, target);
}
void Replica::setModified(ItemKey key, double seconds) {
  engine_->setModified(key, seconds);
}
void Replica::remove(ItemKey key) {
  engine_->remove(key);
}
void Replica::setReadOnlyHere(ItemKey key, bool readOnly) {
  engine_->setReadOnlyHere(key, readOnly);
}
void Replica::beginWriting(ItemKey key) {
  engine_->beginWriting(key);
}
void Replica::endWriting(ItemKey key) {
  engine_->endWriting(key);
}
void Replica::holdCopy(ItemKey key) {
  engine_->holdCopy(key);
}
void Replica::releaseCopy(ItemKey key) {
  engine_->releaseCopy(key);
}

void Replica::keepOffline(ItemKey key) {
  engine_->keepOffline(key);
}
void Replica::makeOnline(ItemKey key) {
  engine_->makeOnline(key);
}
void Replica::performAction(ItemKey key, const std::string& action) {
  engine_->performAction(key, action);
}

void Replica::addObserver(std::shared_ptr<ReplicaObserver> observer) {
  engine_->addObserver(std::move(observer));
}
void Replica::removeObserver(const std::shared_ptr<ReplicaObserver>& observer) {
  engine_->removeObserver(observer);
}
void Replica::syncNow() {
  engine_->syncNow();
}
bool Replica::waitUntilIdle(std::chrono::milliseconds timeout) {
  return engine_->waitUntilIdle(timeout);
}
void Replica::runOnce() {
  engine_->runOnce();
}

ReplicaStatus readStatus(const ReplicaOptions& options) {
  const auto file = options.stateDirectory / "replica.db";
  if (!std::filesystem::exists(file)) return {{}, {}, {options.storeLimit, 0}, {}, {}, {}};
  ItemStore store(file, true);
  return store.status(store.storeLimit().value_or(options.storeLimit));
}

std::int64_t readQueueLength(const ReplicaOptions& options) {
  const auto file = options.stateDirectory / "replica.db";
  if (!std::filesystem::exists(file)) return 0;
  ItemStore store(file, true);
  return store.queueLength();
}

}  // namespace drive::replica
