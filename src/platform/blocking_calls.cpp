#include "platform/blocking_calls.h"

#include <future>
#include <mutex>

namespace fp::BlockingCalls {
namespace {

ProgressSnapshot snapshot(const Progress& progress) {
  return {progress.completedUnitCount(), progress.totalUnitCount()};
}

// Collects one enumeration until its first finish call.
class Collector : public EnumerationObserver, public ChangeObserver {
 public:
  std::future<EnumerationReply> reply() { return promise_.get_future(); }

  void didEnumerateItems(const std::vector<ItemPtr>& items) override { append(items); }
  void didUpdateItems(const std::vector<ItemPtr>& items) override { append(items); }
  void didDeleteItemsWithIdentifiers(const std::vector<ItemIdentifier>& ids) override {
    std::lock_guard lock(mutex_);
    collected_.deleted.insert(collected_.deleted.end(), ids.begin(), ids.end());
  }
  void finishEnumeratingUpToPage(const std::optional<Page>&) override { finish({}, {}, false); }
  void finishEnumeratingChangesUpToSyncAnchor(const SyncAnchor& anchor, bool moreComing) override {
    finish({}, anchor, moreComing);
  }
  void finishEnumeratingWithError(const PlatformError& error) override { finish(error, {}, false); }

 private:
  void append(const std::vector<ItemPtr>& items) {
    std::lock_guard lock(mutex_);
    collected_.items.insert(collected_.items.end(), items.begin(), items.end());
  }
  void finish(Error error, SyncAnchor anchor, bool moreComing) {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    finished_ = true;
    collected_.error = std::move(error);
    collected_.anchor = std::move(anchor);
    collected_.moreComing = moreComing;
    promise_.set_value(collected_);
  }

  std::mutex mutex_;
  EnumerationReply collected_;
  bool finished_ = false;
  std::promise<EnumerationReply> promise_;
};

ChangeCompletion changeCompletion(std::promise<std::pair<ItemPtr, Error>>& promise) {
  return [&promise](ItemPtr item, ItemFields, bool, Error error) {
    promise.set_value({std::move(item), std::move(error)});
  };
}

ItemReply itemReply(std::promise<std::pair<ItemPtr, Error>>& promise, const Progress& progress) {
  auto [item, error] = promise.get_future().get();
  return {std::move(item), std::move(error), snapshot(progress)};
}

}  // namespace

ItemReply itemForIdentifier(ReplicatedExtension& extension, const ItemIdentifier& identifier) {
  std::promise<std::pair<ItemPtr, Error>> promise;
  auto progress = extension.itemForIdentifier(identifier, {}, [&](ItemPtr item, Error error) {
    promise.set_value({std::move(item), std::move(error)});
  });
  return itemReply(promise, *progress);
}

FetchReply fetchContents(ReplicatedExtension& extension, const ItemIdentifier& identifier,
                         const std::optional<ItemVersion>& version) {
  std::promise<FetchReply> promise;
  auto progress = extension.fetchContentsForItemWithIdentifier(
      identifier, version, {}, [&](std::optional<URL> url, ItemPtr item, Error error) {
        promise.set_value({std::move(url), std::move(item), std::move(error), {}});
      });
  auto reply = promise.get_future().get();
  reply.progress = snapshot(*progress);
  return reply;
}

ItemReply createItem(ReplicatedExtension& extension, ItemPtr itemTemplate,
                     const std::optional<URL>& contents, CreateItemOptions options) {
  std::promise<std::pair<ItemPtr, Error>> promise;
  auto progress = extension.createItemBasedOnTemplate(std::move(itemTemplate), 0, contents, options,
                                                      {}, changeCompletion(promise));
  return itemReply(promise, *progress);
}

ItemReply modifyItem(ReplicatedExtension& extension, ItemPtr item, ItemFields changedFields,
                     const std::optional<URL>& contents) {
  std::promise<std::pair<ItemPtr, Error>> promise;
  auto progress = extension.modifyItem(std::move(item), {}, changedFields, contents, 0, {},
                                       changeCompletion(promise));
  return itemReply(promise, *progress);
}

ErrorReply deleteItem(ReplicatedExtension& extension, const ItemIdentifier& identifier) {
  std::promise<Error> promise;
  auto progress = extension.deleteItemWithIdentifier(
      identifier, {}, 0, {}, [&](Error error) { promise.set_value(std::move(error)); });
  return {promise.get_future().get(), snapshot(*progress)};
}

ErrorReply performAction(CustomAction& actions, const std::string& action,
                         const std::vector<ItemIdentifier>& identifiers) {
  std::promise<Error> promise;
  auto progress = actions.performActionWithIdentifier(
      action, identifiers, [&](Error error) { promise.set_value(std::move(error)); });
  return {promise.get_future().get(), snapshot(*progress)};
}

EnumerationReply enumerateItems(Enumerator& enumerator) {
  auto collector = std::make_shared<Collector>();
  auto reply = collector->reply();
  enumerator.enumerateItems(collector, {});
  return reply.get();
}

EnumerationReply enumerateChanges(Enumerator& enumerator, const SyncAnchor& anchor) {
  auto collector = std::make_shared<Collector>();
  auto reply = collector->reply();
  enumerator.enumerateChanges(collector, anchor);
  return reply.get();
}

std::optional<SyncAnchor> currentSyncAnchor(Enumerator& enumerator) {
  std::promise<std::optional<SyncAnchor>> promise;
  enumerator.currentSyncAnchor(
      [&](std::optional<SyncAnchor> anchor) { promise.set_value(std::move(anchor)); });
  return promise.get_future().get();
}

}  // namespace fp::BlockingCalls
