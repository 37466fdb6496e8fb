#pragma once

#include "platform/enumerator.h"

namespace drive {

// Serves the trash: nothing in it, ever.
class EmptyEnumerator : public fp::Enumerator {
 public:
  void enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                      const fp::Page& startingAt) override;
  void enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                        const fp::SyncAnchor& fromAnchor) override;
  void currentSyncAnchor(std::function<void(std::optional<fp::SyncAnchor>)> completion) override;
};

}  // namespace drive
