#pragma once

#include "platform/enumerator.h"

namespace drive {

// Serves the working set: the companion app's news (policy refreshes, remote updates and
// deletions), published in bounded batches; it never lists folders.
class DriveWorkingSetEnumerator : public fp::Enumerator {
 public:
  void enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                      const fp::Page& startingAt) override;
  void enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                        const fp::SyncAnchor& fromAnchor) override;
  void currentSyncAnchor(std::function<void(std::optional<fp::SyncAnchor>)> completion) override;
};

}  // namespace drive
