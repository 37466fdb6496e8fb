#include "platform/blocking_calls.h"

#include <memory>
#include <mutex>
#include <optional>
#include <semaphore>
#include <type_traits>

#include "platform/task_runner.h"
#include "platform/thread_annotations.h"

namespace fp::BlockingCalls {
namespace {

// One value handed from a completion's thread to the caller waiting for it. A semaphore
// wakes the caller once; a promise and its future take three system calls to do it, which
// shows on small requests.
template <class T>
class Handoff {
 public:
  void set(T value) {
    value_ = std::move(value);
    ready_.release();
  }
  T take() {
    ready_.acquire();
    return std::move(*value_);
  }

 private:
  std::optional<T> value_;
  std::binary_semaphore ready_{0};
};

ProgressSnapshot snapshot(const Progress& progress) {
  return {progress.completedUnitCount(), progress.totalUnitCount()};
}

// Collects one enumeration until its first finish call.
class Collector : public EnumerationObserver, public ChangeObserver {
 public:
  EnumerationReply take() { return reply_.take(); }

  void didEnumerateItems(const std::vector<ItemPtr>& items) override { append(items); }
  void didUpdateItems(const std::vector<ItemPtr>& items) override { append(items); }
  void didDeleteItemsWithIdentifiers(const std::vector<ItemIdentifier>& ids) override {
    MutexLock lock(mutex_);
    collected_.deleted.insert(collected_.deleted.end(), ids.begin(), ids.end());
  }
  void finishEnumeratingUpToPage(const std::optional<Page>&) override { finish({}, {}, false); }
  void finishEnumeratingChangesUpToSyncAnchor(const SyncAnchor& anchor, bool moreComing) override {
    finish({}, anchor, moreComing);
  }
  void finishEnumeratingWithError(const PlatformError& error) override { finish(error, {}, false); }

 private:
  void append(const std::vector<ItemPtr>& items) {
    MutexLock lock(mutex_);
    collected_.items.insert(collected_.items.end(), items.begin(), items.end());
  }
  void finish(Error error, SyncAnchor anchor, bool moreComing) {
    MutexLock lock(mutex_);
    if (finished_) return;
    finished_ = true;
    collected_.error = std::move(error);
    collected_.anchor = std::move(anchor);
    collected_.moreComing = moreComing;
    reply_.set(collected_);
  }

  Mutex mutex_;
  EnumerationReply collected_ GUARDED_BY(mutex_);
  bool finished_ GUARDED_BY(mutex_) = false;
  Handoff<EnumerationReply> reply_;
};

// Makes a request whose task this thread would only wait for: the task runs here once the
// request has returned, rather than on a worker that would wake this thread again.
template <class Call>
auto request(Call&& call) {
  using Result = std::invoke_result_t<Call&>;
  if constexpr (std::is_void_v<Result>) {
    TaskRunner::shared().runOnCaller(call);
  } else {
    Result result;
    TaskRunner::shared().runOnCaller([&] { result = call(); });
    return result;
  }
}

ChangeCompletion changeCompletion(Handoff<std::pair<ItemPtr, Error>>& handoff) {
  return [&handoff](ItemPtr item, ItemFields, bool, Error error) {
    handoff.set({std::move(item), std::move(error)});
  };
}

ItemReply itemReply(Handoff<std::pair<ItemPtr, Error>>& handoff, const Progress& progress) {
  auto [item, error] = handoff.take();
  return {std::move(item), std::move(error), snapshot(progress)};
}

}  // namespace

ItemReply itemForIdentifier(ReplicatedExtension& extension, const ItemIdentifier& identifier) {
  Handoff<std::pair<ItemPtr, Error>> handoff;
  auto progress = request([&] {
    return extension.itemForIdentifier(identifier, {}, [&](ItemPtr item, Error error) {
      handoff.set({std::move(item), std::move(error)});
    });
  });
  return itemReply(handoff, *progress);
}

FetchReply fetchContents(ReplicatedExtension& extension, const ItemIdentifier& identifier,
                         const std::optional<ItemVersion>& version) {
  Handoff<FetchReply> handoff;
  auto progress = request([&] {
    return extension.fetchContentsForItemWithIdentifier(
        identifier, version, {}, [&](std::optional<URL> url, ItemPtr item, Error error) {
          handoff.set({std::move(url), std::move(item), std::move(error), {}});
        });
  });
  auto reply = handoff.take();
  reply.progress = snapshot(*progress);
  return reply;
}

ItemReply createItem(ReplicatedExtension& extension, ItemPtr itemTemplate,
                     const std::optional<URL>& contents, CreateItemOptions options) {
  Handoff<std::pair<ItemPtr, Error>> handoff;
  auto progress = request([&] {
    return extension.createItemBasedOnTemplate(std::move(itemTemplate), 0, contents, options, {},
                                               changeCompletion(handoff));
  });
  return itemReply(handoff, *progress);
}

ItemReply modifyItem(ReplicatedExtension& extension, ItemPtr item, ItemFields changedFields,
                     const std::optional<URL>& contents) {
  Handoff<std::pair<ItemPtr, Error>> handoff;
  auto progress = request([&] {
    return extension.modifyItem(std::move(item), {}, changedFields, contents, 0, {},
                                changeCompletion(handoff));
  });
  return itemReply(handoff, *progress);
}

ErrorReply deleteItem(ReplicatedExtension& extension, const ItemIdentifier& identifier) {
  Handoff<Error> handoff;
  auto progress = request([&] {
    return extension.deleteItemWithIdentifier(identifier, {}, 0, {},
                                              [&](Error error) { handoff.set(std::move(error)); });
  });
  return {handoff.take(), snapshot(*progress)};
}

ErrorReply performAction(CustomAction& actions, const std::string& action,
                         const std::vector<ItemIdentifier>& identifiers) {
  // On a worker: the action's follow-up runs on in its task after the completion, and the
  // handoff outlives this call for as long as that task holds it.
  auto handoff = std::make_shared<Handoff<Error>>();
  auto progress = actions.performActionWithIdentifier(
      action, identifiers, [handoff](Error error) { handoff->set(std::move(error)); });
  return {handoff->take(), snapshot(*progress)};
}

EnumerationReply enumerateItems(Enumerator& enumerator) {
  auto collector = std::make_shared<Collector>();
  request([&] { enumerator.enumerateItems(collector, {}); });
  return collector->take();
}

EnumerationReply enumerateChanges(Enumerator& enumerator, const SyncAnchor& anchor) {
  auto collector = std::make_shared<Collector>();
  request([&] { enumerator.enumerateChanges(collector, anchor); });
  return collector->take();
}

std::optional<SyncAnchor> currentSyncAnchor(Enumerator& enumerator) {
  Handoff<std::optional<SyncAnchor>> handoff;
  request([&] {
    enumerator.currentSyncAnchor(
        [&](std::optional<SyncAnchor> anchor) { handoff.set(std::move(anchor)); });
  });
  return handoff.take();
}

}  // namespace fp::BlockingCalls
