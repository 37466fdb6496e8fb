#include "enumeration/drive_working_set_enumerator.h"

#include <algorithm>
#include <set>

#include "api/drive_api.h"
#include "app_group/disk_state.h"
#include "app_group/listing_ack.h"
#include "app_group/policy_refresh.h"
#include "app_group/remote_items.h"
#include "app_group/trace_log.h"
#include "enumeration/enumeration_bookkeeping.h"
#include "enumeration/finish_once.h"
#include "items/item_builders.h"
#include "items/item_lookup.h"
#include "model/drive_api_error.h"
#include "model/drive_item_id.h"
#include "platform/sha256.h"
#include "platform/task_runner.h"

namespace drive {
namespace {

constexpr std::size_t kBatchLimit = 40;
const std::string kWorkingSet(fp::NSFileProviderWorkingSetContainerItemIdentifier);

struct Start {
  std::int64_t revision = DriveDiskState::current().revision;
  std::string token = DriveListingAck::read().token;
  std::set<std::string> policy = policyRefreshList();
};

ItemList policyItems(const std::set<std::string>& policy) {
  ItemList items;
  for (const auto& identifier : policy) {  // a set iterates in ascending order
    try {
      auto item = lookupItem(identifier);
      enumerationLogger().error("PRALO working item " + identifier + " policy " +
                                std::to_string(int(item->contentPolicy())));
      items.push_back(std::move(item));
    } catch (...) {
      enumerationLogger().error("PRALO working miss " + identifier);
    }
  }
  return items;
}

// After every policy item resolved at this revision, the revision counts as listed.
void acknowledgeIfComplete(const Start& start, const ItemList& items) {
  if (items.empty() || items.size() != start.policy.size()) return;
  EnumerationBookkeeping::setListedRevision(kWorkingSet, start.revision);
  DriveListingAck::acknowledge(kWorkingSet, start.revision, start.token);
  trace("working published rev=" + std::to_string(start.revision) +
        " items=" + std::to_string(items.size()));
}

enum class Resolution { resolved, gone, unavailable };

Resolution resolveUpdate(const std::string& entry, ItemList& updated) {
  if (entry.starts_with(kNodePrefix)) {
    try {
      const auto rootId = entry.substr(entry.find(':') + 1);
      if (auto owner = DriveAPI::shared().namespaceWithRoot(rootId, false)) {
        updated.push_back(buildNamespaceItem(*owner));
        return Resolution::resolved;
      }
    } catch (...) {
    }
  }
  try {
    updated.push_back(lookupItem(entry));
    return Resolution::resolved;
  } catch (const DriveAPIError& error) {
    return error.which() == DriveAPIError::Case::http && error.status() == 404
               ? Resolution::gone
               : Resolution::unavailable;
  } catch (const fp::PlatformError& error) {
    return error.domain() == fp::NSFileProviderErrorDomain &&
                   error.code() == fp::FileProviderErrorCode::noSuchItem
               ? Resolution::gone
               : Resolution::unavailable;
  } catch (...) {
    return Resolution::unavailable;
  }
}

struct Batch {
  ItemList updated;
  std::vector<std::string> deleted;
  std::vector<std::string> published;
  bool moreComing = false;
};

Batch remoteBatch(std::size_t limit) {
  const auto remote = DriveRemoteItems::read();
  Batch batch;
  const auto deletes = std::min(limit, remote.deletes.size());
  batch.deleted.assign(remote.deletes.begin(), remote.deletes.begin() + deletes);
  batch.published = batch.deleted;
  const auto updates = std::min(limit, remote.updates.size());
  for (std::size_t index = 0; index < updates; ++index) {
    const auto& entry = remote.updates[index];
    const auto resolution = resolveUpdate(entry, batch.updated);
    if (resolution == Resolution::gone) batch.deleted.push_back(entry);
    if (resolution != Resolution::unavailable) batch.published.push_back(entry);
  }
  const auto again = DriveRemoteItems::read();
  batch.moreComing = !batch.published.empty() &&
                     again.updates.size() + again.deletes.size() > batch.published.size();
  return batch;
}

std::string joinedSorted(std::vector<std::string> ids) {
  std::sort(ids.begin(), ids.end());
  std::string text;
  for (std::size_t index = 0; index < ids.size(); ++index)
    text += (index ? "\n" : "") + ids[index];
  return text;
}

fp::Bytes workingSetAnchor(const Start& start, const std::vector<std::string>& published) {
  const std::vector<std::string> policy(start.policy.begin(), start.policy.end());
  return fp::SHA256::hash(std::to_string(start.revision) + "\n" + joinedSorted(policy) + "\n" +
                          joinedSorted(published) + "\ndrive16");
}

void publishChanges(const FinishOnce<fp::ChangeObserver>& observer, const Start& start) {
  auto batch = remoteBatch(kBatchLimit);
  const auto items = policyItems(start.policy);
  if (!batch.deleted.empty()) observer->didDeleteItemsWithIdentifiers(batch.deleted);
  ItemList updates = items;
  updates.insert(updates.end(), batch.updated.begin(), batch.updated.end());
  if (!updates.empty()) observer->didUpdateItems(updates);
  const auto anchor = workingSetAnchor(start, batch.published);
  DriveRemoteItems::removePublished(batch.published);
  observer.finish([&](fp::ChangeObserver& o) {
    o.finishEnumeratingChangesUpToSyncAnchor(anchor, batch.moreComing);
  });
  acknowledgeIfComplete(start, items);
  trace("working published updates=" + std::to_string(batch.updated.size()) + " deletes=" +
        std::to_string(batch.deleted.size()) + " more=" + (batch.moreComing ? "true" : "false"));
}

}  // namespace

void DriveWorkingSetEnumerator::enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                                               const fp::Page&) {
  const Start start;
  enumerationLogger().error("PRALO working items rev " + std::to_string(start.revision) +
                            " refresh " + std::to_string(start.policy.size()));
  FinishOnce guarded(std::move(observer));
  fp::TaskRunner::shared().post([start, guarded] {
    const auto items = policyItems(start.policy);
    guarded.finish([&](fp::EnumerationObserver& o) {
      if (!items.empty()) o.didEnumerateItems(items);
      o.finishEnumeratingUpToPage(std::nullopt);
    });
    acknowledgeIfComplete(start, items);
  });
}

void DriveWorkingSetEnumerator::enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                                                 const fp::SyncAnchor& fromAnchor) {
  const Start start;
  const auto remote = DriveRemoteItems::read();
  const bool hasRemote = !remote.updates.empty() || !remote.deletes.empty();
  enumerationLogger().error("PRALO working changes rev " + std::to_string(start.revision) +
                            " refresh " + std::to_string(start.policy.size()));
  if (!hasRemote && start.policy.empty()) {
    observer->finishEnumeratingChangesUpToSyncAnchor(fromAnchor, false);
    return;
  }
  if (!hasRemote && EnumerationBookkeeping::shouldExpire(kWorkingSet, start.revision)) {
    observer->finishEnumeratingWithError(syncAnchorExpired());
    return;
  }
  FinishOnce guarded(std::move(observer));
  fp::TaskRunner::shared().post([start, guarded] { publishChanges(guarded, start); });
}

void DriveWorkingSetEnumerator::currentSyncAnchor(
    std::function<void(std::optional<fp::SyncAnchor>)> completion) {
  const auto text = "working-" + std::to_string(DriveDiskState::current().revision);
  completion(fp::SyncAnchor(text.begin(), text.end()));
}

}  // namespace drive
