#include "enumeration/empty_enumerator.h"

namespace drive {

void EmptyEnumerator::enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                                     const fp::Page&) {
  observer->finishEnumeratingUpToPage(std::nullopt);
}

void EmptyEnumerator::enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                                       const fp::SyncAnchor& fromAnchor) {
  observer->finishEnumeratingChangesUpToSyncAnchor(fromAnchor, false);
}

void EmptyEnumerator::currentSyncAnchor(
    std::function<void(std::optional<fp::SyncAnchor>)> completion) {
  static const std::string empty = "empty";
  completion(fp::SyncAnchor(empty.begin(), empty.end()));
}

}  // namespace drive
