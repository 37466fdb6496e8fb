#include "platform_host.h"

#include <future>

#include "platform/type_registry.h"
#include "platform/xpc_transaction.h"

namespace drive::cli {
namespace {

Json progressJson(const fp::Progress& progress) {
  return Json::array({progress.completedUnitCount(), progress.totalUnitCount()});
}

Outcome finished(Json json, const fp::Error& error, const fp::Progress& progress) {
  Outcome outcome{error ? errorJson(*error) : std::move(json), error ? 1 : 0};
  outcome.json["progress"] = progressJson(progress);
  return outcome;
}

// Collects one enumeration until its finish call.
class CollectingObserver : public fp::EnumerationObserver, public fp::ChangeObserver {
 public:
  struct Result {
    std::vector<fp::ItemPtr> updated;
    std::vector<fp::ItemIdentifier> deleted;
    fp::SyncAnchor anchor;
    bool moreComing = false;
    std::optional<fp::PlatformError> error;
  };

  std::future<Result> result() { return promise_.get_future(); }

  void didEnumerateItems(const std::vector<fp::ItemPtr>& items) override { append(items); }
  void didUpdateItems(const std::vector<fp::ItemPtr>& items) override { append(items); }
  void didDeleteItemsWithIdentifiers(const std::vector<fp::ItemIdentifier>& ids) override {
    std::lock_guard lock(mutex_);
    collected_.deleted.insert(collected_.deleted.end(), ids.begin(), ids.end());
  }
  void finishEnumeratingUpToPage(const std::optional<fp::Page>&) override { finish({}); }
  void finishEnumeratingChangesUpToSyncAnchor(const fp::SyncAnchor& anchor,
                                              bool moreComing) override {
    std::lock_guard lock(mutex_);
    collected_.anchor = anchor;
    collected_.moreComing = moreComing;
    finishLocked({});
  }
  void finishEnumeratingWithError(const fp::PlatformError& error) override { finish(error); }

 private:
  void append(const std::vector<fp::ItemPtr>& items) {
    std::lock_guard lock(mutex_);
    collected_.updated.insert(collected_.updated.end(), items.begin(), items.end());
  }
  void finish(std::optional<fp::PlatformError> error) {
    std::lock_guard lock(mutex_);
    finishLocked(std::move(error));
  }
  void finishLocked(std::optional<fp::PlatformError> error) {
    if (finished_) return;  // a second finish would be the enumerator's bug, not ours to crash on
    finished_ = true;
    collected_.error = std::move(error);
    promise_.set_value(collected_);
  }

  std::mutex mutex_;
  Result collected_;
  bool finished_ = false;
  std::promise<Result> promise_;
};

Json itemsJson(const std::vector<fp::ItemPtr>& items) {
  auto array = Json::array();
  for (const auto& item : items)
    array.push_back(itemJson(*item));
  return array;
}

fp::UniformType templateType(const CreateRequest& request) {
  if (request.type) return fp::UniformType(*request.type);
  if (request.folder) return fp::UniformType::folder();
  return fp::TypeRegistry::typeForFilename(request.name).value_or(fp::UniformType::data());
}

struct ChangeResult {
  fp::ItemPtr item;
  fp::Error error;
};

fp::ChangeCompletion changeCompletion(std::promise<ChangeResult>& promise) {
  return [&promise](fp::ItemPtr item, fp::ItemFields, bool, fp::Error error) {
    promise.set_value({std::move(item), std::move(error)});
  };
}

Outcome changeOutcome(std::promise<ChangeResult>& promise, const fp::Progress& progress) {
  auto result = promise.get_future().get();
  Json json;
  if (result.item) json["item"] = itemJson(*result.item);
  return finished(std::move(json), result.error, progress);
}

}  // namespace

Outcome usageError(const std::string& description) {
  return {errorJson("usage", 2, description), 2};
}

Outcome PlatformHost::item(const std::string& identifier) {
  std::promise<std::pair<fp::ItemPtr, fp::Error>> promise;
  auto progress = extension_.itemForIdentifier(identifier, {}, [&](fp::ItemPtr item, fp::Error e) {
    promise.set_value({std::move(item), std::move(e)});
  });
  auto [item, error] = promise.get_future().get();
  Json json;
  if (item) json["item"] = itemJson(*item);
  return finished(std::move(json), error, *progress);
}

Outcome PlatformHost::list(const std::string& identifier) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  auto observer = std::make_shared<CollectingObserver>();
  auto future = observer->result();
  enumerator->enumerateItems(observer, {});
  auto result = future.get();
  if (result.error) return {errorJson(*result.error), 1};
  return {Json{{"items", itemsJson(result.updated)}}, 0};
}

Outcome PlatformHost::changes(const std::string& identifier, const fp::SyncAnchor& anchor) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  auto observer = std::make_shared<CollectingObserver>();
  auto future = observer->result();
  enumerator->enumerateChanges(observer, anchor);
  auto result = future.get();
  if (result.error) return {errorJson(*result.error), 1};
  Json json;
  json["deleted"] = result.deleted;
  json["updated"] = itemsJson(result.updated);
  json["anchor"] = hexString(result.anchor);
  json["moreComing"] = result.moreComing;
  return {std::move(json), 0};
}

Outcome PlatformHost::anchor(const std::string& identifier) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  std::promise<std::optional<fp::SyncAnchor>> promise;
  enumerator->currentSyncAnchor(
      [&](std::optional<fp::SyncAnchor> anchor) { promise.set_value(std::move(anchor)); });
  const auto anchor = promise.get_future().get();
  return {Json{{"anchor", anchor ? Json(hexString(*anchor)) : Json(nullptr)}}, 0};
}

Outcome PlatformHost::fetch(const std::string& identifier,
                            const std::optional<std::string>& version,
                            const std::optional<std::filesystem::path>& copyTo) {
  std::optional<fp::ItemVersion> requested;
  if (version) requested = fp::ItemVersion{fp::Bytes(version->begin(), version->end()), {}};
  struct Fetched {
    std::optional<fp::URL> url;
    fp::ItemPtr item;
    fp::Error error;
  };
  std::promise<Fetched> promise;
  auto progress = extension_.fetchContentsForItemWithIdentifier(
      identifier, requested, {}, [&](std::optional<fp::URL> url, fp::ItemPtr item, fp::Error e) {
        promise.set_value({std::move(url), std::move(item), std::move(e)});
      });
  auto result = promise.get_future().get();
  Json json;
  if (result.url) json["path"] = result.url->string();
  if (result.item) json["item"] = itemJson(*result.item);
  if (!result.error && result.url && copyTo) {
    std::error_code copyError;
    std::filesystem::copy_file(*result.url, *copyTo,
                               std::filesystem::copy_options::overwrite_existing, copyError);
    if (copyError) {
      return {
          errorJson("NSCocoaErrorDomain", 512,
                    "Could not copy the file to " + copyTo->string() + ": " + copyError.message()),
          1};
    }
  }
  return finished(std::move(json), result.error, *progress);
}

Outcome PlatformHost::create(const CreateRequest& request) {
  auto itemTemplate =
      std::make_shared<fp::ItemTemplate>("", request.parent, request.name, templateType(request));
  std::promise<ChangeResult> promise;
  const fp::CreateItemOptions options =
      request.mayExist ? fp::CreateItemOption::mayAlreadyExist : 0;
  auto progress = extension_.createItemBasedOnTemplate(itemTemplate, 0, request.file, options, {},
                                                       changeCompletion(promise));
  return changeOutcome(promise, *progress);
}

Outcome PlatformHost::modify(const ModifyRequest& request) {
  auto item =
      std::make_shared<fp::ItemTemplate>(request.identifier, request.parent.value_or(""),
                                         request.name.value_or(""), fp::UniformType::data());
  fp::ItemFields fields = request.extraFields;
  if (request.name) fields |= fp::ItemField::filename;
  if (request.parent) fields |= fp::ItemField::parentItemIdentifier;
  if (request.file) fields |= fp::ItemField::contents;
  std::promise<ChangeResult> promise;
  auto progress =
      extension_.modifyItem(item, {}, fields, request.file, 0, {}, changeCompletion(promise));
  return changeOutcome(promise, *progress);
}

Outcome PlatformHost::remove(const std::string& identifier) {
  std::promise<fp::Error> promise;
  auto progress = extension_.deleteItemWithIdentifier(
      identifier, {}, 0, {}, [&](fp::Error error) { promise.set_value(std::move(error)); });
  return finished(Json::object(), promise.get_future().get(), *progress);
}

Outcome PlatformHost::action(const std::string& action,
                             const std::vector<std::string>& identifiers) {
  std::promise<fp::Error> promise;
  auto progress = actions_.performActionWithIdentifier(
      action, identifiers, [&](fp::Error error) { promise.set_value(std::move(error)); });
  auto error = promise.get_future().get();
  fp::waitForXpcTransactions(std::chrono::hours(1));
  return finished(Json::object(), error, *progress);
}

}  // namespace drive::cli
