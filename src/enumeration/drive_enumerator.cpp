#include "enumeration/drive_enumerator.h"

#include <set>

#include "app_group/disk_state.h"
#include "app_group/listing_ack.h"
#include "app_group/policy_refresh.h"
#include "app_group/remote_refresh.h"
#include "app_group/trace_log.h"
#include "enumeration/enumeration_bookkeeping.h"
#include "enumeration/finish_once.h"
#include "items/item_lookup.h"
#include "model/drive_api_error.h"
#include "model/map_to_platform_error.h"
#include "platform/environment.h"
#include "platform/task_runner.h"

namespace drive {
namespace {

constexpr int kListingRetries = 7;
constexpr auto kRetryDelay = std::chrono::nanoseconds(500'000'000);

// What an enumeration reads before its call returns.
struct Start {
  std::int64_t revision = DriveDiskState::current().revision;
  std::string token = DriveListingAck::read().token;
};

bool isUnauthorized(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const DriveAPIError& apiError) {
    return apiError.which() == DriveAPIError::Case::unauthorized;
  } catch (...) {
    return false;
  }
}

// Lists, retrying only while the session is not yet usable (the companion may still be
// handing it over).
ItemList listWithRetries(const std::string& identifier) {
  for (int attempt = 0;; ++attempt) {
    try {
      return listContainer(identifier);
    } catch (...) {
      if (attempt == kListingRetries || !isUnauthorized(std::current_exception())) throw;
    }
    fp::Environment::current()->clock->sleepFor(kRetryDelay);
  }
}

std::vector<std::string> identifiersOf(const ItemList& items) {
  std::vector<std::string> ids;
  ids.reserve(items.size());
  for (const auto& item : items)
    ids.push_back(item->itemIdentifier());
  return ids;
}

template <typename Observer>
void failListing(const FinishOnce<Observer>& observer, const std::string& traceLine,
                 const std::exception_ptr& error) {
  trace(traceLine + " " + localizedDescriptionOf(error));
  observer.fail(mapToPlatformError(error));
}

fp::Bytes anchorFor(const std::string& identifier) {
  return contentAnchor(listContainer(identifier), DriveRemoteRefresh::read().generation);
}

}  // namespace

void DriveEnumerator::enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                                     const fp::Page&) {
  const Start start;
  FinishOnce guarded(std::move(observer));
  fp::TaskRunner::shared().post([identifier = identifier_, start, guarded] {
    ItemList items;
    try {
      items = listWithRetries(identifier);
    } catch (...) {
      const auto error = std::current_exception();
      enumerationLogger().error("Listing failed: " + localizedDescriptionOf(error));
      return failListing(guarded, "items failed " + identifier, error);
    }
    enumerationLogger().info("Listed " + std::to_string(items.size()) + " items");
    EnumerationBookkeeping::setStoredIdentifiers(identifier, identifiersOf(items));
    guarded.finish([&](fp::EnumerationObserver& o) {
      o.didEnumerateItems(items);
      o.finishEnumeratingUpToPage(std::nullopt);
    });
    EnumerationBookkeeping::setListedRevision(identifier, start.revision);
    DriveRemoteRefresh::clearPending(identifier);
    DriveListingAck::acknowledge(identifier, start.revision, start.token);
    trace("remote listed " + identifier + " items=" + std::to_string(items.size()));
    tracePolicy("items", identifier, start.revision, items);
  });
}

void DriveEnumerator::enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                                       const fp::SyncAnchor&) {
  const Start start;
  const auto policy = policyRefreshList();
  enumerationLogger().error("PRALO changes " + identifier_ + " rev " +
                            std::to_string(start.revision) + " refresh " +
                            std::to_string(policy.size()));
  const auto pending = DriveRemoteRefresh::read().pending;
  if (std::find(pending.begin(), pending.end(), identifier_) != pending.end()) {
    trace("remote expire " + identifier_);
    observer->finishEnumeratingWithError(syncAnchorExpired());
    return;
  }
  FinishOnce guarded(std::move(observer));
  fp::TaskRunner::shared().post([identifier = identifier_, start, policy, guarded] {
    const std::string failure = "changes failed " + identifier;
    ItemList items;
    try {
      items = listContainer(identifier);
    } catch (...) {
      return failListing(guarded, failure, std::current_exception());
    }
    const auto current = identifiersOf(items);
    const std::set<std::string> currentSet(current.begin(), current.end());
    std::vector<std::string> deleted;
    for (auto& stored : EnumerationBookkeeping::storedIdentifiers(identifier)) {
      if (!currentSet.contains(stored)) deleted.push_back(std::move(stored));
    }
    if (!deleted.empty()) guarded->didDeleteItemsWithIdentifiers(deleted);
    const auto resets = std::count_if(current.begin(), current.end(),
                                      [&](const std::string& id) { return policy.contains(id); });
    guarded->didUpdateItems(items);
    EnumerationBookkeeping::setStoredIdentifiers(identifier, current);
    fp::Bytes anchor;
    try {
      anchor = anchorFor(identifier);
    } catch (...) {
      return failListing(guarded, failure, std::current_exception());
    }
    guarded.finish(
        [&](fp::ChangeObserver& o) { o.finishEnumeratingChangesUpToSyncAnchor(anchor, false); });
    EnumerationBookkeeping::setListedRevision(identifier, start.revision);
    DriveListingAck::acknowledge(identifier, start.revision, start.token);
    tracePolicy(
        "changes reset=" + std::to_string(resets) + " anchor=" + std::to_string(anchor.size()),
        identifier, start.revision, items);
  });
}

void DriveEnumerator::currentSyncAnchor(
    std::function<void(std::optional<fp::SyncAnchor>)> completion) {
  fp::TaskRunner::shared().post([identifier = identifier_, completion] {
    std::optional<fp::SyncAnchor> anchor;
    try {
      anchor = anchorFor(identifier);
    } catch (...) {
    }
    completion(anchor);
  });
}

}  // namespace drive
